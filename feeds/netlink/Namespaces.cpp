#include "feeds/netlink/Namespaces.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <string>
#include <string_view>
#include <system_error>

#include "feeds/netlink/SnapshotTaker.h"

namespace Netlink {

namespace {

constexpr std::string_view prefix = "ns-";

// Moves the calling thread, for the rest of its life.
void enter(std::filesystem::path const& namespaceFile) {
    // Somebody may have put a FIFO there, which must not hang the program.
    int const file = ::open(namespaceFile.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    int error = file < 0 ? errno : 0;
    if (file >= 0) {
        error = ::setns(file, CLONE_NEWNET) < 0 ? errno : 0;
        ::close(file);
    }
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot enter the namespace");
    }
}

}  // namespace

std::vector<NamedNamespace> namedNamespaces(std::filesystem::path const& dir) {
    std::vector<NamedNamespace> found;
    std::error_code noSuchDir;
    for (auto const& file : std::filesystem::directory_iterator(dir, noSuchDir)) {
        std::string const name = file.path().filename().string();
        if (!name.starts_with(prefix) || name.size() == prefix.size()) {
            continue;
        }
        found.push_back({.vrf = name.substr(prefix.size()), .file = file.path()});
    }
    std::ranges::sort(found, {}, &NamedNamespace::vrf);
    return found;
}

Snapshot takeSnapshotIn(std::filesystem::path const& namespaceFile) {
    // A thread of its own, which ends in the other namespace: there is no way back to lose.
    return std::async(std::launch::async,
                      [&namespaceFile] {
                          enter(namespaceFile);
                          return takeSnapshot();
                      })
        .get();
}

}  // namespace Netlink
