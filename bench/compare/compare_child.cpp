#include "compare_child.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

namespace CompareBench {

namespace {

void readAll(int fd, std::string& output)
{
    char chunk[4096];
    ssize_t got;
    while ((got = read(fd, chunk, sizeof chunk)) > 0)
        output.append(chunk, size_t(got));
}

}  // namespace

bool runSelf(const std::vector<std::string>& arguments, std::string* output, std::string& error)
{
    std::vector<char*> argv;
    static char self[] = "/proc/self/exe";
    argv.push_back(self);
    for (const std::string& a : arguments)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);

    int pipeEnds[2] = {-1, -1};
    if (output && pipe(pipeEnds) != 0) {
        error = "pipe failed";
        return false;
    }
    std::fflush(nullptr);  // what the parent printed comes first
    const pid_t child = fork();
    if (child < 0) {
        error = "fork failed";
        return false;
    }
    if (child == 0) {
        if (output) {
            dup2(pipeEnds[1], STDOUT_FILENO);
            close(pipeEnds[0]);
            close(pipeEnds[1]);
        }
        execv(self, argv.data());
        _exit(127);
    }
    if (output) {
        close(pipeEnds[1]);
        readAll(pipeEnds[0], *output);
        close(pipeEnds[0]);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child) {
        error = "wait failed";
        return false;
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        error = "the child failed";
        return false;
    }
    return true;
}

long peakResidentKiB()
{
    std::ifstream status("/proc/self/status");
    std::string key;
    long value = 0;
    while (status >> key) {
        if (key == "VmHWM:" && status >> value)
            return value;
        status.ignore(4096, '\n');
    }
    return 0;
}

}  // namespace CompareBench
