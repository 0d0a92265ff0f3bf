#include "feeds/netlink/NamespaceVisit.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/statfs.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace Netlink {

namespace {

constexpr char const* homeFile = "/proc/thread-self/ns/net";

[[noreturn]] void failVisit(int error) {
    throw std::system_error(error, std::generic_category(), "cannot enter the namespace");
}

// Somebody may have put a FIFO there, which must not hang the program.
Descriptor openFile(std::filesystem::path const& file) {
    Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!opened) {
        failVisit(errno);
    }
    return opened;
}

NamespaceId idOf(struct stat const& status) {
    return {.device = status.st_dev, .inode = status.st_ino};
}

}  // namespace

NamespaceId ownNamespaceId() {
    auto const id = namespaceIdOf(homeFile);
    if (!id) {
        throw std::system_error(errno, std::generic_category(), homeFile);
    }
    return *id;
}

std::optional<NamespaceId> namespaceIdOf(std::filesystem::path const& file) {
    struct statfs fileSystem {};
    struct stat status {};
    if (::statfs(file.c_str(), &fileSystem) < 0 || fileSystem.f_type != NSFS_MAGIC ||
        ::stat(file.c_str(), &status) < 0) {
        return std::nullopt;
    }
    return idOf(status);
}

NamespaceVisit::NamespaceVisit(std::filesystem::path const& file, NamespaceId id)
    : home_(openFile(homeFile)) {
    Descriptor const there = openFile(file);
    struct stat status {};
    if (::fstat(there.number(), &status) < 0) {
        failVisit(errno);
    }
    if (idOf(status) != id) {
        failVisit(ENOENT);
    }
    if (::setns(there.number(), CLONE_NEWNET) < 0) {
        failVisit(errno);
    }
}

NamespaceVisit::~NamespaceVisit() {
    if (::setns(home_.number(), CLONE_NEWNET) < 0) {
        std::perror("cannot come back from a network namespace");
        std::abort();
    }
}

}  // namespace Netlink
