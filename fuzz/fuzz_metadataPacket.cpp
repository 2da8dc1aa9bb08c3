// The payloads of metadata packets parsed on their own: the georeference
// packet's bytes and the older generation's metadata box. What parses is
// described and written back.
#include <vector>

#include "fuzz_input.h"
#include "xr3_georefData.h"
#include "xr3_mdBox.h"

using namespace Orvanetics;

namespace {

void parseGeoref(const uint8_t* data, size_t size)
{
    FuzzInput::MemoryInput input(data, size);
    QVIOStreamReader<true> reader(input.stream());
    XR3GeorefData georef;
    if (georef.read(reader) != 0) return;
    QVIGeoCoord coord;
    georef.setupGeoCoord(1000, 700, coord);
    auto output = FuzzInput::openNullOutput();
    QVIOStreamWriter<true> writer(*output);
    georef.write(writer);
}

// Every chunk described through the size protocol, then the box written.
void parseBox(const uint8_t* data, size_t size)
{
    MDBox box;
    if (box.ReadMDBox(data, static_cast<uint32_t>(size)) != 0) return;
    std::vector<char> text;
    for (uint32_t i = 0; i < box.GetNumMDChunks(); ++i) {
        uint32_t length = 0;
        if (box.GetMDChunk(i)->display(nullptr, length) != 0) continue;
        text.resize(length);
        box.GetMDChunk(i)->display(text.data(), length);
    }
    double values[6];
    box.GetDefaultGeoData(values[0], values[1], values[2], values[3], values[4], values[5]);
    std::string user;
    box.GetUserMetadata(user);
    box.GetCmdLineMetadata(user);
    std::vector<uint8_t> bytes(box.GetMDBoxLen());
    uint32_t length = static_cast<uint32_t>(bytes.size());
    box.WriteMDBox(bytes.data(), length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > FuzzInput::kMaxInputBytes) return 0;
    parseGeoref(data, size);
    parseBox(data, size);
    return 0;
}
