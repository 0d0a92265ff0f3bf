#include "intfaddr/config/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "Zin/Format.h"
#include "feeds/netlink/Descriptor.h"

namespace IntfAddr {

namespace {

constexpr std::size_t most = std::size_t{64} * 1024 * 1024;

template <class Result>
Result checked(Result result) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category());
    }
    return result;
}

Netlink::Descriptor opened(std::string const& path, int flags) {
    return Netlink::Descriptor(checked(::open(path.c_str(), flags | O_CLOEXEC, 0644)));
}

}  // namespace

std::string readWhole(std::string const& path) {
    // A pipe without a writer would be waited for, or be as empty as /dev/null.
    auto const file = opened(path, O_RDONLY | O_NONBLOCK);
    struct stat status {};
    checked(::fstat(file.number(), &status));
    if (S_ISFIFO(status.st_mode)) {
        throw std::runtime_error("is a pipe");
    }
    std::string text;
    std::array<char, 65536> buffer;
    while (auto const taken = checked(::read(file.number(), buffer.data(), buffer.size()))) {
        text.append(buffer.data(), static_cast<std::size_t>(taken));
        if (text.size() > most) {
            throw std::runtime_error(fmt::format("is longer than {} bytes", most));
        }
    }
    return text;
}

void writeWhole(std::string const& path, std::string_view content) {
    auto const directory = std::filesystem::path(path).parent_path();
    std::filesystem::create_directories(directory);
    std::string const unfinished = path + ".tmp";
    {
        auto const file = opened(unfinished, O_WRONLY | O_CREAT | O_TRUNC);
        while (!content.empty()) {
            auto const written = checked(::write(file.number(), content.data(), content.size()));
            content.remove_prefix(static_cast<std::size_t>(written));
        }
        checked(::fsync(file.number()));
    }
    checked(std::rename(unfinished.c_str(), path.c_str()));
    checked(::fsync(opened(directory, O_RDONLY).number()));
}

}  // namespace IntfAddr
