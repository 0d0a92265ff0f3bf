#include "intfaddr/loop/ChildProcess.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "intfaddr/loop/Duration.h"

namespace IntfAddr {

namespace {

constexpr int niceness = 10;

// Sanitizers take terabytes of address space for what they know of each byte.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool needsAddressSpace = true;
#elif defined(__has_feature)
constexpr bool needsAddressSpace =
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool needsAddressSpace = false;
#endif

void check(int error, char const* what) {
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

Netlink::Descriptor fileInMemory(char const* name) {
    Netlink::Descriptor file(::memfd_create(name, MFD_CLOEXEC));
    check(file ? 0 : errno, "no file in memory can be made");
    return file;
}

Netlink::Descriptor fileWith(std::string_view text) {
    auto file = fileInMemory("input");
    while (!text.empty()) {
        auto const size = ::write(file.number(), text.data(), text.size());
        check(size < 0 ? errno : 0, "the input cannot be written");
        text.remove_prefix(static_cast<std::size_t>(size));
    }
    ::lseek(file.number(), 0, SEEK_SET);
    return file;
}

using Limit = std::pair<int, std::size_t>;

// All that the new process does before it becomes the other program: it has this one's memory until
// then, and may only ask the kernel for something.
void become(char* const* arguments, std::array<int, 3> const& files,
            std::vector<Limit> const& limits) {
    for (int number = 0; number < 3; ++number) {
        if (::dup2(files[static_cast<std::size_t>(number)], number) < 0) {
            return;
        }
    }
    // Killed, its owner cannot end it any more.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (auto const& [resource, value] : limits) {
        rlimit const most{.rlim_cur = value, .rlim_max = value};
        ::syscall(SYS_prlimit64, 0, resource, &most, nullptr);
    }
    ::setpriority(PRIO_PROCESS, 0, niceness);
    // What this process ignores, the other one may want to know of.
    for (int number = 1; number < NSIG; ++number) {
        ::signal(number, SIG_DFL);
    }
    sigset_t none{};
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::execv(arguments[0], arguments);
}

pid_t started(std::vector<std::string> command, std::array<int, 3> const& files,
              std::vector<Limit> const& limits) {
    std::vector<char*> arguments;
    for (auto& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    sigset_t all{};
    ::sigfillset(&all);
    sigset_t before{};
    ::sigprocmask(SIG_SETMASK, &all, &before);
    // Without a copy of this process, which waits until the other one has begun.
    int volatile failure = 0;
    pid_t const process = ::vfork();
    if (process == 0) {
        become(arguments.data(), files, limits);
        failure = errno;
        ::_exit(1);
    }
    int const unmade = process < 0 ? errno : 0;
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    check(unmade, "no process can be made");
    if (failure != 0) {
        ::waitpid(process, nullptr, 0);
        check(failure, command[0].c_str());
    }
    return process;
}

std::vector<Limit> resources(ChildLimits const& limits) {
    std::vector<Limit> made{{RLIMIT_FSIZE, limits.output}, {RLIMIT_CORE, 0}};
    if (!needsAddressSpace) {
        made.emplace_back(RLIMIT_AS, limits.memory);
    }
    return made;
}

}  // namespace

class ChildProcess::Timer {
public:
    Timer(EventLoop& loop, Zin::Seconds time, std::function<void()> over) : timer_(loop.context()) {
        timer_.expires_after(durationOf(time));
        timer_.async_wait([over = std::move(over)](boost::system::error_code const& cancelled) {
            if (!cancelled) {
                over();
            }
        });
    }

private:
    boost::asio::steady_timer timer_;
};

ChildProcess::ChildProcess(EventLoop& loop, std::vector<std::string> const& command,
                           std::string_view input, ChildLimits const& limits,
                           std::function<void()> ended)
    : ended_(std::move(ended)), output_(fileInMemory("output")), error_(fileInMemory("error")) {
    auto const in = fileWith(input);
    process_ =
        started(command, {in.number(), output_.number(), error_.number()}, resources(limits));
    end_ = Netlink::Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process_, 0)));
    if (!end_) {
        int const error = errno;
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
        check(error, "a process cannot be waited for");
    }
    watch_ = loop.watch(end_.number(), Netlink::Loop::Event::readable, [this] { handleEnd(); });
    timer_ = std::make_unique<Timer>(loop, limits.time, [this] {
        isOverdue_ = true;
        kill();
    });
}

ChildProcess::~ChildProcess() {
    if (process_ != 0) {
        kill();
        ::waitpid(process_, nullptr, 0);
    }
}

void ChildProcess::kill() {
    if (process_ != 0) {
        ::kill(process_, SIGKILL);
    }
}

void ChildProcess::handleEnd() {
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = 0;
    timer_.reset();
    if (WIFEXITED(status)) {
        exitStatus_ = WEXITSTATUS(status);
    } else {
        signal_ = WTERMSIG(status);
    }
    auto const ended = ended_;
    ended();
}

std::string readAt(Netlink::Descriptor const& file, std::size_t offset, std::size_t size) {
    std::string text(size, '\0');
    auto const read = ::pread(file.number(), text.data(), text.size(), static_cast<off_t>(offset));
    check(read < 0 ? errno : 0, "a file cannot be read");
    text.resize(static_cast<std::size_t>(read));
    return text;
}

}  // namespace IntfAddr
