// The BBB text header: keywords, numbers, projection blocks, no-data lists.
#include <string>

#include "qvi_bbbHeaderReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > (1 << 16)) return 0;
    Orvanetics::QVIBBBHeaderReader reader;
    reader.readText(std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
