// Listens at a path, for those whom the mode and the group of its file let connect.
//
// A socket that is at the path already is taken for left behind: whoever makes a listener sees to
// it that he is the only one (Instance). Anything else there is left as it is, and an error. The
// socket's file is removed with the listener, if it is still this listener's own.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include "intfaddr/http/Listener.h"

namespace IntfAddr {

class UnixListener final : public Listener {
public:
    struct Options {
        std::string path = {};            // 107 bytes at most
        mode_t mode = 0660;               // who may connect, as if he wrote to the file
        std::optional<gid_t> group = {};  // of the file; else the process's
    };

    // Throws std::runtime_error, which names the path and the reason.
    explicit UnixListener(Options const& options);
    ~UnixListener() override;
    UnixListener(UnixListener const&) = delete;
    UnixListener& operator=(UnixListener const&) = delete;

    int socket() const override { return socket_.number(); }
    std::string name() const override { return path_; }
    std::optional<Peer> peerOf(Netlink::Descriptor const& client) const override;

private:
    std::string const path_;
    Netlink::Descriptor const socket_;
    struct stat const file_;
};

}  // namespace IntfAddr
