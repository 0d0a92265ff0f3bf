// Records what is done to a router as a scenario, line by line as it happens.
//
//   in     what was recorded before; each operation; the owner tells when a batch begins, and has
//          something to remark
//   out    the configuration, the operations, and remarks as comments
//   time   the router's clock; the owner asks for flush() each second, say, and for catchUp()
//          while it is behind
//
// The first operation of a batch says `at`: what is due then runs before it, and nothing between it
// and those that follow it. So tasks and rebuilds run between batches only.
//
// What was there before may be much, so it is written in pieces, and what comes meanwhile waits in
// a queue behind it.
//
// The sink is given whole lines, many at a time, so that whoever is killed leaves a file that ends
// in one. When the next line would take the file beyond its limit, a last comment says so; and
// where the sink fails nothing more is written to it. Either closes the recorder, and nothing is
// thrown.
//
// Made on a router that is empty, whose manager runs, or that what was recorded before has made;
// borrows the sink.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "Zin/Clock.h"
#include "feeds/scenario/Json.h"
#include "feeds/scenario/Run.h"
#include "router/repair/OperationHistory.h"

namespace Scenario {

class Recorder final : public Routing::OperationObserver {
public:
    // `limit`: of the file, in bytes; a few hundred at least.
    Recorder(std::ostream& sink, Config const& config, Zin::Ptr<Zin::Clock const> clock,
             std::size_t limit, Routing::Recording before = {});
    // Flushes, also where it is behind.
    ~Recorder() override;
    Recorder(Recorder const&) = delete;
    Recorder& operator=(Recorder const&) = delete;

    // Tasks may have run, or time passed, since the operation before the next one.
    void batchBegins() { batchBegins_ = true; }
    // In one line, whatever characters the text holds.
    void comment(std::string_view text);

    // Whether something is to be written before what happens now.
    bool isBehind() const { return next_ < before_.size() || !queue_.empty(); }
    // Writes some of that, in less than a millisecond.
    void catchUp();

    // Time has come to now without an operation: what was due until then is replayed too.
    void end();

    // Hands over to the sink what has been recorded. Returns false once: the first time after the
    // sink has failed.
    bool flush();

    // Nothing more is recorded.
    bool isClosed() const { return !whyClosed_.empty(); }
    // Empty while it is not.
    std::string const& whyClosed() const { return whyClosed_; }
    // Of what has been recorded, in bytes; of what waits nothing.
    std::size_t size() const { return size_; }

private:
    void handleOperation(Routing::Operation const& operation) override;

    void put(std::string line);
    void append(std::string const& line);
    // With a last comment.
    void close(std::string why);
    void closeBecause(std::string why);
    void write();

    std::ostream& sink_;
    Zin::Ptr<Zin::Clock const> const clock_;
    std::size_t const limit_;
    Routing::Recording before_;
    std::size_t next_ = 0;           // of what was there before
    std::deque<std::string> queue_;  // the lines behind it
    bool batchBegins_ = true;
    std::optional<Zin::Seconds> lastAt_;
    std::string lines_;  // not handed over yet
    std::size_t size_ = 0;
    std::string whyClosed_;
    bool hasFailed_ = false;
    bool isErrorTold_ = false;
};

}  // namespace Scenario
