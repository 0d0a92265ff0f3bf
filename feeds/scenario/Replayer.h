// Replays a scenario file: reads it line by line, carries out each operation, prints what happens.
//
// The same file prints the same on every machine. A file of any length takes the memory of the
// state that it describes.
#pragma once

#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <ostream>
#include <string_view>

#include "Zin/Seconds.h"
#include "feeds/scenario/FileError.h"
#include "feeds/scenario/Json.h"
#include "feeds/scenario/Run.h"

namespace Scenario {

// Carries out line by line what somebody reads.
class Replayer {
public:
    // Borrows both.
    Replayer(std::ostream& out, Options const& options) : out_(out), options_(options) {}

    // Starts the run, unless it has begun.
    Run& run(Config const& config = {});
    std::optional<Outcome> outcome() const { return run_ ? run_->outcome() : std::nullopt; }
    Zin::Seconds now() const { return run_ ? run_->now() : 0.0; }

    // The times of lines count from there, and not from the clock's 0.
    void originIs(Zin::Seconds origin) { origin_ = origin; }
    // Throws LineError, with nothing of the line carried out.
    void handleLine(std::uint64_t number, Json object);

private:
    std::optional<Zin::Seconds> takeAt(Json& object) const;

    std::ostream& out_;
    Options const& options_;
    std::unique_ptr<Run> run_;
    Zin::Seconds origin_ = 0.0;
};

// Whether a line of a file says nothing: it is blank, or a comment.
bool isSkipped(std::string_view line);
// Calls `each` with the lines of a text that say something, without their ends.
void forEachLine(std::string_view text, std::function<void(std::string_view line)> const& each);

// Told after each line how far the replay is.
using Progress = std::function<void(std::uint64_t line, Zin::Seconds time)>;

// Throws FileError at the first line that makes no sense, with nothing of that line applied: a last
// line too that is torn, as of a recording whose writer was stopped.
// Stops at once where `out` cannot be written any more.
Outcome replay(std::istream& in, std::ostream& out, Options const& options,
               Progress const& progress = {});

}  // namespace Scenario
