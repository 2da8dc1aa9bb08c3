#include "compare_child.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

namespace CompareBench {

bool runSelf(const std::vector<std::string>& arguments, long* peakKiB, std::string& error)
{
    std::vector<char*> argv;
    static char self[] = "/proc/self/exe";
    argv.push_back(self);
    for (const std::string& a : arguments)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);

    std::fflush(nullptr);  // what the parent printed comes first
    const pid_t child = fork();
    if (child < 0) {
        error = "fork failed";
        return false;
    }
    if (child == 0) {
        execv(self, argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child) {
        error = "wait failed";
        return false;
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        error = "the child failed";
        return false;
    }
    if (peakKiB)
        *peakKiB = usage.ru_maxrss;
    return true;
}

}  // namespace CompareBench
