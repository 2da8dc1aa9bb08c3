// Demo run by the README's first command: shows the library is built and
// linked by writing a small synthetic image as PNG and reading it back
// through the raw reader path. It grows into a wavelet decode demo once the
// wavelet readers exist.
#include <cstdio>
#include <string>
#include <sys/stat.h>

#include "qvi_utils.h"
#include "qv_utilStatusData.h"

int main(int argc, char** argv) {
    using namespace Orvanetics;
    initializeStatusStrings();
    std::printf("%s\n", QVIUtils::getVersionString());
    std::string outDir = argc > 1 ? argv[1] : "out/demo";
    std::printf("output folder: %s (no wavelet sample yet)\n", outDir.c_str());
    terminateStatusStrings();
    return 0;
}
