#include "tools_process.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "test_paths.h"

extern char** environ;

namespace ToolsTest {

namespace {

std::string slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string outPath(const std::string& dir) { return dir + "/stdout.txt"; }
std::string errPath(const std::string& dir) { return dir + "/stderr.txt"; }

int exitCodeOf(int waitStatus)
{
    if (WIFEXITED(waitStatus))
        return WEXITSTATUS(waitStatus);
    if (WIFSIGNALED(waitStatus))
        return 128 + WTERMSIG(waitStatus);
    return -1;
}

// Flattens the JSON document read from the file named by argv[1].
constexpr const char* kFlattenScript = R"(
import json, sys
def flat(path, value):
    if isinstance(value, dict):
        for key, item in value.items():
            flat(path + '.' + key if path else key, item)
    elif isinstance(value, list):
        for index, item in enumerate(value):
            flat(path + '[' + str(index) + ']', item)
    else:
        print(path + '=' + json.dumps(value))
flat('', json.load(open(sys.argv[1])))
)";

}  // namespace

pid_t startTool(const std::string& program, const std::vector<std::string>& args,
                const std::string& outputDir)
{
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath(outputDir).c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath(outputDir).c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) != 0)
        pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

ToolRun waitTool(pid_t pid, const std::string& outputDir)
{
    ToolRun result;
    int waitStatus = 0;
    pid_t ended = -1;
    do {
        ended = waitpid(pid, &waitStatus, 0);
    } while (ended < 0 && errno == EINTR);
    if (ended == pid)
        result.exitCode = exitCodeOf(waitStatus);
    result.out = slurp(outPath(outputDir));
    result.err = slurp(errPath(outputDir));
    return result;
}

bool isRunning(pid_t pid)
{
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == 0;
}

ToolRun runTool(const std::string& program, const std::vector<std::string>& args)
{
    const std::string dir = TestPaths::tempDir("tool_run");
    const pid_t pid = startTool(program, args, dir);
    if (pid < 0)
        return {};
    return waitTool(pid, dir);
}

// The system's interpreter when there is one: version-manager shims on PATH
// can take a second to start.
std::string python3()
{
    static const std::string path =
        access("/usr/bin/python3", X_OK) == 0 ? "/usr/bin/python3" : std::string();
    return path;
}

bool hasPython3()
{
    return !python3().empty() || runTool("/bin/sh", {"-c", "command -v python3"}).exitCode == 0;
}

bool flattenJson(const std::string& json, std::map<std::string, std::string>& flat)
{
    const std::string dir = TestPaths::tempDir("tool_json");
    const std::string document = dir + "/document.json";
    std::ofstream(document, std::ios::binary) << json;
    const ToolRun run = python3().empty()
                            ? runTool("/usr/bin/env", {"python3", "-c", kFlattenScript, document})
                            : runTool(python3(), {"-c", kFlattenScript, document});
    if (run.exitCode != 0)
        return false;
    flat.clear();
    std::istringstream lines(run.out);
    std::string line;
    while (std::getline(lines, line)) {
        const size_t equals = line.find('=');
        if (equals != std::string::npos)
            flat[line.substr(0, equals)] = line.substr(equals + 1);
    }
    return true;
}

}  // namespace ToolsTest
