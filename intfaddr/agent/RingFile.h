// The trace ring (Tremlog/Ring.h) in a file, where it can be read beside the process and after its
// end, however that comes: the pages are the kernel's.
//
// Files are `path`, and those of the processes before it `path`.1 and `path`.2, the latest first.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tremlog/Image.h"

namespace IntfAddr {

// Names the file, and what is wrong.
class RingFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Takes this process's ring to a new file, with all of its room on the disk: no record fails for
// want of it. The ring stays where it is when this throws RingFileError. For good: once a process.
void moveRingTo(std::string const& path, std::string const& identity);

struct RingContent {
    std::string identity;  // of the process's start
    std::uint32_t process;
    std::int64_t loadedAt;  // in nanoseconds since 1970, UTC
    std::uint64_t lost;
    std::vector<Tremlog::Entry> entries;
};

// Of a process that has ended or that runs: each record is whole, or is said not to be. Throws
// RingFileError.
RingContent readRing(std::string const& path);

}  // namespace IntfAddr
