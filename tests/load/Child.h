// A process beside this one, which ends with it at the latest.
#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <system_error>
#include <utility>

namespace Load {

class Child {
public:
    // Runs `body`, which does not return, in a copy of this process, which has no other threads.
    explicit Child(std::function<void()> const& body) : pid_(::fork()) {
        if (pid_ < 0) {
            throw std::system_error(errno, std::generic_category(), "fork");
        }
        if (pid_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            body();
            ::_exit(127);
        }
    }
    ~Child() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;

    // Tells it to end, and waits for that: whether its exit status was 0.
    bool endsWell() {
        int status = 0;
        ::kill(pid_, SIGTERM);
        ::waitpid(std::exchange(pid_, 0), &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

private:
    pid_t pid_;
};

}  // namespace Load
