// Running the command-line tools as processes from tests: their exit code,
// standard output and standard error, and a JSON document flattened by
// python3 into "path=value" lines.
#pragma once

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace ToolsTest {

struct ToolRun {
    int exitCode = -1;  // 128 + the signal for a process killed by one
    std::string out;
    std::string err;
};

// Runs the program with the arguments (no shell) and waits for it.
ToolRun runTool(const std::string& program, const std::vector<std::string>& args);

// The same without waiting: the process id; finish with waitTool.
pid_t startTool(const std::string& program, const std::vector<std::string>& args,
                const std::string& outputDir);
ToolRun waitTool(pid_t pid, const std::string& outputDir);
// True if the process has not ended yet.
bool isRunning(pid_t pid);

bool hasPython3();
// Parses the text as JSON with python3's own parser and flattens it:
// "georeference.x" -> "1000.5", "bands[0]" -> ... (values as JSON: strings
// keep their quotes). False if python3 refuses the text.
bool flattenJson(const std::string& json, std::map<std::string, std::string>& flat);

}  // namespace ToolsTest

// The tools' build paths come from the test target; without the tools built
// they are empty and the tests that run them skip.
#ifndef QVINFO_PATH
#define QVINFO_PATH ""
#endif
#ifndef QVDECODE_PATH
#define QVDECODE_PATH ""
#endif

#define REQUIRE_TOOLS()                                                    \
    do {                                                                   \
        if (std::string(QVINFO_PATH).empty() || std::string(QVDECODE_PATH).empty()) \
            GTEST_SKIP() << "the command-line tools are not built";        \
    } while (0)
