// Records what is done to a router as a scenario, line by line as it happens.
//
//   in     each operation; the owner tells when a batch begins, and has something to remark
//   out    the configuration, the operations, and remarks as comments
//   time   the router's clock; the owner asks for flush() each second, say
//
// The first operation of a batch says `at`: what is due then runs before it, and nothing between it
// and those that follow it. So tasks and rebuilds run between batches only.
//
// The sink is given whole lines, many at a time, so that whoever is killed leaves a file that ends
// in one. When the next line would take the file beyond its limit, a last comment says so; and
// where the sink fails nothing more is written to it. Either closes the recorder, and nothing is
// thrown.
//
// Made on a router that is empty, whose manager runs; borrows the sink. Nothing is recorded of a
// router that is there already.
#pragma once

#include <cstddef>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "Zin/Clock.h"
#include "feeds/scenario/Json.h"
#include "feeds/scenario/Run.h"
#include "router/Operation.h"

namespace Scenario {

class Recorder final : public Routing::OperationObserver {
public:
    // `limit`: of the file, in bytes; a few hundred at least.
    Recorder(std::ostream& sink, Config const& config, Zin::Ptr<Zin::Clock const> clock,
             std::size_t limit);
    // Flushes.
    ~Recorder() override;
    Recorder(Recorder const&) = delete;
    Recorder& operator=(Recorder const&) = delete;

    // Tasks may have run, or time passed, since the operation before the next one.
    void batchBegins() { batchBegins_ = true; }
    // In one line, whatever characters the text holds.
    void comment(std::string_view text);

    // Time has come to now without an operation: what was due until then is replayed too.
    void end();

    // Hands over to the sink what has been recorded. Returns false once: the first time after the
    // sink has failed.
    bool flush();

    // Nothing more is recorded.
    bool isClosed() const { return isClosed_; }
    // The errno of the sink's failure, 0 where it has not failed.
    int error() const { return error_; }

private:
    void handleOperation(Routing::Operation const& operation) override;

    void put(std::string const& line);
    void close(std::string_view why);
    void write();

    std::ostream& sink_;
    Zin::Ptr<Zin::Clock const> const clock_;
    std::size_t const limit_;
    bool batchBegins_ = true;
    std::optional<Zin::Seconds> lastAt_;
    std::string lines_;  // not handed over yet
    std::size_t size_ = 0;
    bool isClosed_ = false;
    int error_ = 0;
    bool isErrorTold_ = false;
};

}  // namespace Scenario
