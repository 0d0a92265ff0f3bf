#include "intfaddr/http/UnixListener.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "Zin/Format.h"
#include "intfaddr/http/SocketAddress.h"

namespace IntfAddr {

namespace {

std::runtime_error failure(std::string const& path, std::string_view what, int error) {
    return std::runtime_error(
        fmt::format("{}: {}: {}", path, what, std::generic_category().message(error)));
}

// Where none is, one without a type.
struct stat fileAt(std::string const& path) {
    struct stat file {};
    if (::lstat(path.c_str(), &file) != 0) {
        file = {};
    }
    return file;
}

void removeStale(std::string const& path) {
    auto const file = fileAt(path);
    if (file.st_mode == 0) {
        return;
    }
    if (!S_ISSOCK(file.st_mode)) {
        throw std::runtime_error(path + ": is there already, and is no socket");
    }
    if (::unlink(path.c_str()) != 0) {
        throw failure(path, "was left behind, and cannot be removed", errno);
    }
}

Netlink::Descriptor listening(UnixListener::Options const& options) {
    auto const& path = options.path;
    SocketAddress const address(path);
    removeStale(path);
    Netlink::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) {
        throw failure(path, "no socket can be made", errno);
    }
    if (::bind(socket.number(), address.get(), address.size()) != 0) {
        throw failure(path, "cannot be made", errno);
    }
    // Nobody can connect before it listens.
    constexpr auto sameOwner = static_cast<uid_t>(-1);
    if ((options.group && ::lchown(path.c_str(), sameOwner, *options.group) != 0) ||
        ::chmod(path.c_str(), options.mode) != 0 || ::listen(socket.number(), SOMAXCONN) != 0) {
        int const error = errno;
        ::unlink(path.c_str());
        throw failure(path, "cannot be opened to its clients", error);
    }
    return socket;
}

}  // namespace

UnixListener::UnixListener(Options const& options)
    : path_(options.path), socket_(listening(options)), file_(fileAt(options.path)) {}

UnixListener::~UnixListener() {
    // While the socket is open, no other file has its number.
    auto const file = fileAt(path_);
    if (file.st_ino == file_.st_ino && file.st_dev == file_.st_dev) {
        ::unlink(path_.c_str());
    }
}

std::optional<Peer> UnixListener::peerOf(Netlink::Descriptor const& client) const {
    ucred known{};
    socklen_t size = sizeof known;
    return ::getsockopt(client.number(), SOL_SOCKET, SO_PEERCRED, &known, &size) == 0
               ? std::optional(Peer{.uid = known.uid, .gid = known.gid, .pid = known.pid})
               : std::nullopt;
}

}  // namespace IntfAddr
