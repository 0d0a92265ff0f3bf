#include "intfaddr/agent/RingFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "Tremlog/Ring.h"
#include "Zin/Format.h"
#include "feeds/netlink/Descriptor.h"

namespace IntfAddr {

namespace {

using Tremlog::Image;

constexpr int passes = 10;

RingFileError ringFailure(std::string const& path, std::string_view what, int error) {
    return RingFileError(
        fmt::format("{}: {}: {}", path, what, std::generic_category().message(error)));
}

void rename(std::string const& from, std::string const& to) {
    if (std::rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT) {
        throw ringFailure(from, "cannot be renamed", errno);
    }
}

void read(int file, std::string const& path, Image& image) {
    auto* const bytes = reinterpret_cast<char*>(&image);
    std::size_t size = 0;
    while (size < sizeof image) {
        auto const got = ::pread(file, bytes + size, sizeof image - size, static_cast<off_t>(size));
        if (got < 0) {
            throw ringFailure(path, "cannot be read", errno);
        }
        if (got == 0) {
            throw RingFileError(size == 0 ? path + ": is empty"
                                          : fmt::format("{}: is cut: it has {} of {} bytes", path,
                                                        size, sizeof image));
        }
        size += static_cast<std::size_t>(got);
    }
    std::atomic_thread_fence(std::memory_order_acquire);
}

// A slot that has had one stamp before and after it was read is whole.
bool isWhole(std::size_t i, Image const& before, Image const& image, Image const& after) {
    return before.slots[i].stamp == image.slots[i].stamp &&
           image.slots[i].stamp == after.slots[i].stamp;
}

bool isWhole(Image const& before, Image const& image, Image const& after) {
    std::size_t i = 0;
    while (i < Image::slotCount && isWhole(i, before, image, after)) {
        ++i;
    }
    return i == Image::slotCount;
}

}  // namespace

void moveRingTo(std::string const& path, std::string const& identity) {
    rename(path + ".1", path + ".2");
    rename(path, path + ".1");
    Netlink::Descriptor const file(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0640));
    if (!file) {
        throw ringFailure(path, "cannot be made", errno);
    }
    // For the group, which may ask the agent too, also where its other files are its own.
    ::fchmod(file.number(), 0640);
    void* memory = MAP_FAILED;
    int error = ::posix_fallocate(file.number(), 0, sizeof(Image));
    if (error == 0) {
        memory =
            ::mmap(nullptr, sizeof(Image), PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
        error = errno;
    }
    if (memory == MAP_FAILED) {
        ::unlink(path.c_str());
        throw ringFailure(path, "has no room for the trace ring", error);
    }
    Tremlog::ring.moveTo(*static_cast<Image*>(memory), identity);
}

RingContent readRing(std::string const& path) {
    // It may be anything that somebody names: not to wait for the writer of a pipe.
    Netlink::Descriptor const file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        throw ringFailure(path, "cannot be opened", errno);
    }
    struct stat status {};
    if (::fstat(file.number(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw RingFileError(path + ": is no file");
    }
    auto before = std::make_unique<Image>();
    auto image = std::make_unique<Image>();
    auto after = std::make_unique<Image>();
    read(file.number(), path, *image);
    read(file.number(), path, *after);
    for (int pass = 0; pass == 0 || (pass < passes && !isWhole(*before, *image, *after)); ++pass) {
        std::swap(before, image);
        std::swap(image, after);
        read(file.number(), path, *after);
    }
    for (std::size_t i = 0; i < Image::slotCount; ++i) {
        if (!isWhole(i, *before, *image, *after)) {
            image->slots[i].stamp = after->slots[i].stamp | Tremlog::Slot::unfinished;
        }
    }
    // No count of what was not there yet, and every format that a slot may name.
    image->header = before->header;
    image->formats = after->formats;
    if (auto const fault = faultOf(image->header); !fault.empty()) {
        throw RingFileError(fmt::format("{}: {}", path, fault));
    }
    return {.identity = std::string(image->header.identity.text()),
            .process = image->header.process,
            .loadedAt = image->header.scale.loadedAt,
            .lost = image->header.lost,
            .entries = entriesOf(*image, "<this record is not whole>")};
}

}  // namespace IntfAddr
