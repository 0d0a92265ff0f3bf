#include "intfaddr/agent/Instance.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <system_error>

#include "Zin/Format.h"

namespace IntfAddr {

namespace {

InstanceError failure(std::string const& path, std::string_view what, int error) {
    return InstanceError(
        fmt::format("{}: {}: {}", path, what, std::generic_category().message(error)));
}

std::string nameOf(pid_t process) {
    std::ifstream file(fmt::format("/proc/{}/comm", process));
    std::string name;
    return std::getline(file, name) ? name : "a process without a name";
}

RunsAlready runsAlready(std::string const& path, pid_t process) {
    // The kernel has no number for a process of another PID namespace.
    return RunsAlready(
        process > 0
            ? fmt::format("{} (process {}) runs already: it holds {}", nameOf(process), process,
                          path)
            : fmt::format("a process in another container runs already: it holds {}", path));
}

void lock(int file, std::string const& path) {
    constexpr int tries = 100;
    for (int tried = 0; tried < tries; ++tried) {
        struct flock whole {};
        whole.l_type = F_WRLCK;
        whole.l_whence = SEEK_SET;
        if (::fcntl(file, F_SETLK, &whole) == 0) {
            return;
        }
        if (errno != EAGAIN && errno != EACCES) {
            throw failure(path, "cannot be locked", errno);
        }
        if (::fcntl(file, F_GETLK, &whole) != 0) {
            throw failure(path, "cannot be asked who holds it", errno);
        }
        if (whole.l_type != F_UNLCK) {
            throw runsAlready(path, whole.l_pid);
        }
        // Whoever held it has gone meanwhile.
    }
    throw failure(path, "cannot be locked", EAGAIN);
}

Netlink::Descriptor locked(std::string const& directory) {
    if (::mkdir(directory.c_str(), 0755) != 0 && errno != EEXIST) {
        throw failure(directory, "cannot be made", errno);
    }
    std::string const path = directory + "/agent.lock";
    // Nobody else may open it, or he could hold the lock.
    Netlink::Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) {
        throw errno == ELOOP ? InstanceError(path + ": is a symbolic link, which is not followed")
                             : failure(path, "cannot be opened", errno);
    }
    lock(file.number(), path);
    return file;
}

}  // namespace

std::string runDirectory() {
    if (::geteuid() != 0) {
        if (char const* const below = std::getenv("XDG_RUNTIME_DIR"); below && *below == '/') {
            return std::string(below) + "/intfaddr";
        }
    }
    return systemRunDirectory;
}

std::string fileOfAgent(std::optional<std::string> const& directory, std::string const& name) {
    auto const own = directory.value_or(runDirectory()) + "/" + name;
    auto const system = std::string(systemRunDirectory) + "/" + name;
    bool const isForAll = !directory && ::access(own.c_str(), F_OK) != 0;
    return isForAll && ::access(system.c_str(), F_OK) == 0 ? system : own;
}

Instance::Instance(std::string const& directory) : file_(locked(directory)) {}

}  // namespace IntfAddr
