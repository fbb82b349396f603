#include <dirent.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>

#include "stand_in_system.h"

void IgnoreClosedPipes() {
    signal(SIGPIPE, SIG_IGN);
}

void EndBySignal() {
    raise(SIGKILL);
    std::abort();
}

void UseBinaryOutput() {}

std::map<std::string, std::string> SystemCircumstances() {
    std::string unusual;
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    for (int number = 1; number < 32; ++number) {
        // A sanitizer in this program takes the signals of faults for itself.
        if (number == SIGSEGV || number == SIGBUS || number == SIGFPE) continue;
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (action.sa_handler != SIG_DFL || sigismember(&blocked, number) == 1) {
            unusual += std::to_string(number) + " ";
        }
    }
    std::string descriptors;
    DIR* folder = opendir("/proc/self/fd");
    while (const dirent* entry = readdir(folder)) {
        const int number = std::atoi(entry->d_name);
        if (entry->d_name[0] != '.' && number != dirfd(folder))
            descriptors += std::string(entry->d_name) + " ";
    }
    closedir(folder);
    cpu_set_t processors;
    sched_getaffinity(0, sizeof processors, &processors);
    return {{"signals", unusual},
            {"descriptors", descriptors},
            {"scheduling", std::to_string(sched_getscheduler(0))},
            {"processors", std::to_string(CPU_COUNT(&processors))}};
}
