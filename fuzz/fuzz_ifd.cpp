// Image file directories, classic and big, either byte order: the chain of
// directories with their sub-directories, then every value read back, the
// dump, a deep copy and a rewrite.
#include <cstdio>

#include "fuzz_input.h"
#include "qvi_ifd.h"

using namespace Orvanetics;

namespace {

// Every value of every entry, sub-directories included.
void touchValues(const QVIIFD& ifd)
{
    for (unsigned long i = 0; i < ifd.getNumEntries(); ++i) {
        const QVIIFD::Entry* entry = ifd.getEntry(i);
        const unsigned long count = entry->getCount() < 64 ? static_cast<unsigned long>(entry->getCount()) : 64;
        for (unsigned long v = 0; v <= count; ++v) entry->getValueAsDouble(v);
        if (entry->getSubIFD()) touchValues(*entry->getSubIFD());
    }
}

void useDirectory(QVIIFD& ifd, bool bigEndian, bool bigTiff)
{
    touchValues(ifd);
    if (FILE* devNull = std::fopen("/dev/null", "w")) {
        ifd.dump(devNull);
        std::fclose(devNull);
    }
    QVIIFD copy;
    if (copy.init(ifd) == 0) {
        auto output = FuzzInput::openNullOutput();
        copy.write(*output, bigEndian, bigTiff);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput::MemoryInput input(data, size);
    QVIIFD first;
    bool bigEndian = false;
    bool bigTiff = false;
    if (first.readFirstIFD(input.stream(), bigEndian, bigTiff) != 0) return 0;
    useDirectory(first, bigEndian, bigTiff);

    // Follow the chain of directories from the header, a few links deep.
    unsigned long long offset = 0;
    input.stream().seek(0, QVIOSeekDir(2));
    if (QVIIFD::readHeader(input.stream(), bigEndian, bigTiff, offset) != 0) return 0;
    for (int link = 0; link < 4 && offset != 0; ++link) {
        QVIIFD next;
        unsigned long long nextOffset = 0;
        if (next.readEntries(offset, input.stream(), bigEndian, bigTiff, nextOffset) != 0) break;
        touchValues(next);
        offset = nextOffset;
    }
    return 0;
}
