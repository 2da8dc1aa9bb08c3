// The classical metadata record stream, read into a database, which is
// then dumped in both forms.
#include "fuzz_input.h"
#include "qvi_metadataClassicalReader.h"
#include "qvi_metadataDumper.h"

using namespace Orvanetics;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput::MemoryInput input(data, size);
    QVIMetadataDatabase database;
    QVIMetadataClassicalReader(database, input.stream()).read();
    // Whatever was read before a failure stays; the dumper reads it all.
    auto output = FuzzInput::openNullOutput();
    QVIMetadataDumper dumper(database, output.get(), false);
    dumper.write();
    dumper.writeFormatted(true);
    return 0;
}
