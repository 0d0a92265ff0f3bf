#include "feeds/netlink/LiveKernel.h"

#include <fcntl.h>
#include <sys/inotify.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "feeds/netlink/Descriptor.h"
#include "feeds/netlink/LiveSocket.h"
#include "feeds/netlink/NamespaceVisit.h"

namespace Netlink {

// Watches the directory of names, or for it to appear, and the mounts.
class LiveKernel::NameWatch {
public:
    NameWatch(Loop& loop, std::filesystem::path dir, std::function<void()> changed)
        : dir_(std::move(dir)),
          changed_(std::move(changed)),
          files_(checked(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC), "inotify")),
          mounts_(checked(::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC),
                          "/proc/self/mountinfo")) {
        watchDir();
        filesWatch_ = loop.watch(files_.number(), Loop::Event::readable, [this] { handleFiles(); });
        mountsWatch_ =
            loop.watch(mounts_.number(), Loop::Event::exceptional, [this] { handleMounts(); });
    }

private:
    static int checked(int number, char const* what) {
        if (number < 0) {
            throw std::system_error(errno, std::generic_category(), what);
        }
        return number;
    }

    // What happens to the directory itself ends its watch; so does a lost event for all we know.
    void handleFiles() {
        std::array<char, 4096> events{};
        while (::read(files_.number(), events.data(), events.size()) > 0) {
        }
        filesWatch_->again();
        watchDir();
        changed_();
    }

    // What changes from here on is told again; what has changed before is seen by who is told now.
    // Another directory may have been mounted in place of the one that is watched.
    void handleMounts() {
        mountsWatch_->again();
        watchDir();
        changed_();
    }

    void watchDir() {
        constexpr std::uint32_t names =
            IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF;
        // Once more after the parent is watched: it may have been made in between.
        for (int look = 0; look < 2; ++look) {
            if (::inotify_add_watch(files_.number(), dir_.c_str(), names) >= 0) {
                return;
            }
            ::inotify_add_watch(files_.number(), dir_.parent_path().c_str(),
                                IN_CREATE | IN_MOVED_TO | IN_ONESHOT);
        }
    }

    std::filesystem::path const dir_;
    std::function<void()> const changed_;
    Descriptor const files_;
    Descriptor const mounts_;
    std::unique_ptr<Watch> filesWatch_;
    std::unique_ptr<Watch> mountsWatch_;
};

LiveKernel::LiveKernel(Loop& loop, std::filesystem::path dir) : loop_(loop), dir_(std::move(dir)) {}

LiveKernel::~LiveKernel() = default;

NamespaceId LiveKernel::ownNamespace() { return ownNamespaceId(); }

std::vector<NamedNamespace> LiveKernel::namedNamespaces() {
    std::vector<NamedNamespace> found;
    std::error_code error;
    std::filesystem::directory_iterator file(dir_, error);
    for (; !error && file != std::filesystem::directory_iterator(); file.increment(error)) {
        if (auto const id = namespaceIdOf(file->path())) {
            found.push_back({.name = file->path().filename().string(),
                             .id = *id,
                             .goesUnseen = file->is_symlink(error)});
        }
    }
    if (error && error != std::errc::no_such_file_or_directory) {
        throw std::system_error(error, "cannot read " + dir_.string());
    }
    std::ranges::sort(found, {}, &NamedNamespace::name);
    return found;
}

void LiveKernel::watchNamespaces(std::function<void()> changed) {
    nameWatch_ = changed ? std::make_unique<NameWatch>(loop_, dir_, std::move(changed)) : nullptr;
}

NamespaceSockets LiveKernel::openOwn(std::size_t receiveBuffer, Readable const& readable) {
    NamespaceSockets sockets;
    sockets.notifications =
        openNotifications(loop_, readable, receiveBuffer, sockets.receiveBuffer);
    sockets.dumps = openDumps(loop_, readable);
    return sockets;
}

NamespaceSockets LiveKernel::open(NamedNamespace const& named, std::size_t receiveBuffer,
                                  Readable const& readable) {
    NamespaceVisit const visit(dir_ / named.name, named.id);
    return openOwn(receiveBuffer, readable);
}

}  // namespace Netlink
