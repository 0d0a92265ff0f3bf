#include "intfaddr/loop/ChildProcess.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <system_error>
#include <utility>

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

class FileActions {
public:
    FileActions() { ::posix_spawn_file_actions_init(&actions_); }
    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
    FileActions(FileActions const&) = delete;
    FileActions& operator=(FileActions const&) = delete;

    void use(Netlink::Descriptor const& file, int as) {
        check(::posix_spawn_file_actions_adddup2(&actions_, file.number(), as), "spawn");
    }
    posix_spawn_file_actions_t const* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

// What this process ignores, the other one may want to know of.
class Attributes {
public:
    Attributes() {
        ::posix_spawnattr_init(&attributes_);
        sigset_t all{};
        ::sigfillset(&all);
        ::posix_spawnattr_setsigdefault(&attributes_, &all);
        sigset_t none{};
        ::sigemptyset(&none);
        ::posix_spawnattr_setsigmask(&attributes_, &none);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~Attributes() { ::posix_spawnattr_destroy(&attributes_); }
    Attributes(Attributes const&) = delete;
    Attributes& operator=(Attributes const&) = delete;

    posix_spawnattr_t const* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

pid_t spawned(std::vector<std::string> command, Netlink::Descriptor const& input,
              Netlink::Descriptor const& output, Netlink::Descriptor const& error) {
    FileActions actions;
    actions.use(input, STDIN_FILENO);
    actions.use(output, STDOUT_FILENO);
    actions.use(error, STDERR_FILENO);
    std::vector<char*> arguments;
    for (auto& argument : command) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    pid_t process = 0;
    Attributes const attributes;
    check(::posix_spawn(&process, command[0].c_str(), actions.get(), attributes.get(),
                        arguments.data(), environ),
          command[0].c_str());
    return process;
}

// It has hardly begun by now.
void limit(pid_t process, ChildLimits const& limits) {
    auto const set = [process](auto resource, std::size_t value) {
        rlimit const most{.rlim_cur = value, .rlim_max = value};
        ::prlimit(process, resource, &most, nullptr);
    };
    if (!needsAddressSpace) {
        set(RLIMIT_AS, limits.memory);
    }
    set(RLIMIT_FSIZE, limits.output);
    set(RLIMIT_CORE, 0);
    // Should its owner be killed, nobody else ends it.
    set(RLIMIT_CPU, static_cast<std::size_t>(std::ceil(limits.time)));
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(process), niceness);
}

}  // namespace

class ChildProcess::Timer {
public:
    Timer(EventLoop& loop, Zin::Seconds time, std::function<void()> over) : timer_(loop.context()) {
        timer_.expires_after(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::duration<double>(time)));
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
    process_ = spawned(command, fileWith(input), output_, error_);
    limit(process_, limits);
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
