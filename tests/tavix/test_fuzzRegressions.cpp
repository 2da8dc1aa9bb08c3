// Inputs the fuzzers found, kept as they were found: each once made the
// library misbehave (crash, undefined behaviour, runaway allocation).
// Under the sanitized build a relapse aborts; here each must give a status.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tavix_fixtureWriter.h"
#include "xr3_container.h"

using namespace Orvanetics;
using namespace TavixFixture;

namespace {

std::vector<uint8_t> fromHex(const std::string& hex) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) bytes.push_back(uint8_t(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

}  // namespace

// An index whose entry lengths add up past the largest file position: the
// running position overflowed before it was checked.
TEST(FuzzRegressions, IndexLengthsSummingPastTheLargestPositionAreCorrupt) {
    std::vector<uint8_t> bytes = fromHex(
        "7476786403001a7546030100000000000000003cffffffff460301007fffffffffffffeb000400614103fa7c117a1279"
        "8f9f7d6ceaa3b4f4cf20526c604d1d009bed6e9e6fab776185ff3e4cbf5e2dc4a77de47312d907201fc8451001610d1a"
        "cb61904a29f97f1c3521b974bb03e187d59eb774fc4380fa4e8987ad7face810ac49f3d9000000000000002800000000"
        "000000020000ea600000ea6002000001fafafe00000000000044032d010000000000ee4306c099415babf022728562c0"
        "f37a7d0000000000003c0103000000000000002802430300000000000000440243040000000000000008440300010000"
        "0000000009ae01030000000000000028000000000000000200000025000000170200042000100800000000000000ff4a"
        "480a00000000000002430300000000000000440000c87bb7ef222198c8326f396d85dda5c0c73b1890f57278c0dbb1e5"
        "773b411882703f81ef840bac1e1a87b8da829dbf19821ae0832135df82593f81dcffff60a082901f818282ff7f");
    auto stream = openMemStream(bytes);
    XR3FileSimpleContainer container(*stream, true);
    EXPECT_EQ(2028u, container.initialize());  // "corrupt file"
}
