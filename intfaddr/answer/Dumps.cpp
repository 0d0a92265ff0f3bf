#include "intfaddr/answer/Dumps.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "IpLib/IntfAddrVrfTableSm/IntfAddrVrfTableSm.h"
#include "Velk/Dump.h"
#include "Zin/Format.h"
#include "intfaddr/answer/Question.h"

namespace IntfAddr {

namespace {

using Wanted = Dumps::Wanted;

// A dump into a string that ends in the middle, by this exception, when it is long enough.
struct LongEnough {};

class CutDumpContext final : public Velk::DumpContext {
public:
    using DumpContext::DumpContext;
    void print(std::string_view text) const override {
        text_ += text;
        lines_ += static_cast<std::uint32_t>(std::ranges::count(text, '\n'));
        if (lines_ >= Dumps::linesOfVrf) {
            throw LongEnough();
        }
    }
    std::string& text() { return text_; }

private:
    mutable std::string text_;
    mutable std::uint32_t lines_ = 0;
};

std::string dumpOf(Routing::Router const& router, L3::VrfName const& vrf, Wanted const& wanted) {
    auto const context = Zin::make<CutDumpContext>(wanted.verbose, wanted.max);
    try {
        if (wanted.machines) {
            if (auto const machine = router.tableSm(vrf)) {
                machine->dumpState(context, 0);
            }
        } else if (auto const table = router.tables()->intfAddrVrfTable(vrf)) {
            Velk::dumpLine(context, 0, "IntfAddrVrfTable for vrf {}\n", vrf);
            table->dumpState(context, 2);
        }
    } catch (LongEnough const&) {
        context->text() +=
            fmt::format("-- VRF {} ends here, after {} lines --\n", vrf, Dumps::linesOfVrf);
    }
    return std::move(context->text());
}

class Dump final : public Body {
public:
    Dump(Routing::Router const& router, std::vector<L3::VrfName> vrfs, Wanted const& wanted)
        : router_(router), vrfs_(std::move(vrfs)), wanted_(wanted) {}

    Progress next(std::string& buffer) override {
        if (piece_ && piece_->next(buffer) == Progress::more) {
            return Progress::more;
        }
        piece_.reset();
        if (done_ == vrfs_.size()) {
            return Progress::ended;
        }
        piece_ = std::make_unique<TextBody>(dumpOf(router_, vrfs_[done_++], wanted_));
        return Progress::more;
    }

private:
    Routing::Router const& router_;
    std::vector<L3::VrfName> const vrfs_;
    Wanted const wanted_;
    std::size_t done_ = 0;
    std::unique_ptr<TextBody> piece_;
};

// Takes out what is no filter.
Wanted takeWanted(Parameters& parameters) {
    Wanted wanted;
    if (auto const max = takeValue(parameters, "max")) {
        wanted.max = static_cast<std::uint32_t>(numberOf("max", *max, {.most = Dumps::linesOfVrf}));
    }
    wanted.verbose = takeFlag(parameters, "verbose");
    return wanted;
}

}  // namespace

void Dumps::addTo(Routes& routes) const {
    for (bool const machines : {false, true}) {
        routes.add({.method = "GET",
                    .path = machines ? "/v1/dump/machines" : "/v1/dump/tables",
                    .parameters = std::set<std::string>{"max", "verbose", "vrf"}},
                   [this, machines](Request const&, Parameters parameters) {
                       Wanted wanted = takeWanted(parameters);
                       wanted.machines = machines;
                       return reply(wanted, filterOf(parameters));
                   });
    }
}

Reply Dumps::reply(Wanted const& wanted, Filter const& filter) const {
    auto vrfs = router_.vrfs();
    std::ranges::sort(vrfs);
    if (filter.vrf) {
        if (!router_.tables()->intfAddrVrfTableHas(*filter.vrf)) {
            return errorReply(404, fmt::format("there is no VRF '{}'", *filter.vrf));
        }
        vrfs = {*filter.vrf};
    }
    return {.contentType = "text/plain; charset=utf-8",
            .body = std::make_unique<Dump>(router_, std::move(vrfs), wanted)};
}

}  // namespace IntfAddr
