#include "History.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>

#include "Zin/Format.h"
#include "feeds/netlink/fake/RandomOperations.h"
#include "random/Random.h"

namespace Simulated {
namespace {

using namespace Netlink::Fake;
using Kind = Step::Kind;
using RandomStatus::Random;

constexpr std::uint32_t longestStart = 20;  // operations before the agent starts
constexpr std::uint32_t shortest = 20;      // and then
constexpr std::uint32_t usualLength = 40;
constexpr double longestDelay = 2;

bool delays(Fault fault) {
    return fault == Fault::delayNotifications || fault == Fault::delayNames ||
           fault == Fault::forgetName || fault == Fault::failListing;
}

// What random operations leave out: addresses that are lent, names that are in each other's way.
class Peculiar {
public:
    Peculiar(Random& random, FakeKernel const& kernel) : random_(random), kernel_(kernel) {}

    Operation propose() {
        switch (random_.below(11)) {
            case 8:
            case 9:
            case 10:
                return crowd();
            case 0:
            case 1:
                return addHost();
            case 2:
                return addDevice();
            case 3:
                return enslave();
            case 4:
                return addIp6();
            case 5:
                return addNamespace();
            case 6:
                return {.kind = Operation::Kind::removeName, .name = namespaceName()};
            default:
                return {.kind = Operation::Kind::setUp, .place = anyLink().place};
        }
    }

private:
    Netlink::NamespaceId anyNetwork() {
        auto const all = kernel_.namespaces();
        return all[random_.isOneIn(2) ? 0 : random_.below(static_cast<std::uint32_t>(all.size()))];
    }
    Link const& anyLink() {
        auto const& links = kernel_.links(anyNetwork());
        return std::next(links.begin(), random_.below(static_cast<std::uint32_t>(links.size())))
            ->second;
    }
    std::string namespaceName() {
        // The last two are as long as a VRF's name may be, and longer.
        static std::string const names[] = {"ns-eth0",
                                            "ns-default",
                                            "ns-",
                                            "ns-vrf0",
                                            "ns-" + std::string(143, 'x'),
                                            "ns-" + std::string(148, 'y')};
        return random_.oneOf(names);
    }
    // On one interface of a namespace, so that lists are long enough to be told in parts, and
    // primaries have secondaries behind them.
    Operation crowd() {
        auto const& links = kernel_.links(anyNetwork());
        Link const& link =
            links.size() > 1 ? std::next(links.begin())->second : links.begin()->second;
        if (!link.ip4.empty() && random_.isOneIn(3)) {
            auto const count = static_cast<std::uint32_t>(link.ip4.size());
            return {.kind = Operation::Kind::removeAddress,
                    .place = link.place,
                    .address = link.ip4[random_.isOneIn(2) ? 0 : random_.below(count)]};
        }
        return {.kind = Operation::Kind::addAddress,
                .place = link.place,
                .address = {.own = Nimb::IpGenAddrWithMask(fmt::format(
                                "10.0.{}.{}/24", random_.below(3), 1 + random_.below(6)))}};
    }
    Operation addHost() {
        Link const& link = anyLink();
        Address address{
            .own = Nimb::IpGenAddrWithMask(fmt::format("10.9.0.{}/32", 1 + random_.below(2)))};
        if (random_.isOneIn(4)) {
            address.peer = Nimb::IpGenAddr(fmt::format("10.9.0.{}", 1 + random_.below(4)));
        }
        return {.kind = random_.isOneIn(4) ? Operation::Kind::removeAddress
                                           : Operation::Kind::addAddress,
                .place = link.place,
                .address = address};
    }
    Operation addDevice() {
        static std::string const names[] = {"vrf0", "default", "eth0", "blue"};
        return {.kind = Operation::Kind::addLink,
                .place = {anyNetwork(), 2 + random_.below(7)},
                .name = random_.oneOf(names),
                .linkKind = random_.isOneIn(3) ? LinkKind::dummy : LinkKind::vrf};
    }
    Operation enslave() {
        Link const& link = anyLink();
        for (auto const& [ifIndex, other] : kernel_.links(link.place.network)) {
            if (other.isMaster() && random_.isOneIn(2)) {
                return {.kind = Operation::Kind::setMaster,
                        .place = link.place,
                        .otherPlace = other.place};
            }
        }
        return {.kind = Operation::Kind::setMaster, .place = link.place};
    }
    Operation addIp6() {
        std::string const prefix = random_.isOneIn(3) ? "fe80" : "fd00:7";
        Address address{
            .own = Nimb::IpGenAddrWithMask(fmt::format("{}::{}/64", prefix, 1 + random_.below(3)))};
        switch (random_.below(4)) {
            case 0:
                address.flags = IFA_F_OPTIMISTIC;
                break;
            case 1:
                address.flags = IFA_F_NODAD;
                address.preferred = 0;
                address.valid = 10;
                break;
            case 2:
                address.flags = IFA_F_NODAD;
                break;
            default:
                break;
        }
        return {.kind = random_.isOneIn(2) ? Operation::Kind::addAddress
                                           : Operation::Kind::replaceAddress,
                .place = anyLink().place,
                .address = address};
    }
    Operation addNamespace() {
        std::string const name = namespaceName();
        if (random_.isOneIn(4)) {
            return {.kind = Operation::Kind::nameNamespace,
                    .place = {.network = anyNetwork()},
                    .name = name};
        }
        return {.kind = Operation::Kind::makeNamespace, .name = name};
    }

    Random& random_;
    FakeKernel const& kernel_;
};

class Generator {
public:
    explicit Generator(std::uint64_t seed)
        : random_(seed, 0), operations_(random_.next(), {.addresses = 28, .settings = 3}) {}

    History history() {
        static constexpr std::size_t limits[] = {100, 300, 1000, 32768};
        // The smallest has room for a few messages.
        static constexpr std::size_t buffers[] = {3000, 1U << 20, 1U << 20, 1U << 20};
        history_.isPrompt = random_.isOneIn(2);
        history_.datagramLimit = random_.oneOf(limits);
        history_.receiveBuffer = random_.oneOf(buffers);
        bool const isCalm = random_.isOneIn(8);
        if (random_.isOneIn(2)) {
            Operation const promote{.kind = Operation::Kind::promoteSecondaries,
                                    .place = {.network = kernel_.ownNamespace()},
                                    .on = true};
            performed(kernel_, promote);
            put({.kind = Kind::operate, .operation = promote});
        }
        for (auto rest = random_.below(longestStart); rest > 0; --rest) {
            operate(Step::Notice::none);
        }
        if (!isCalm && random_.isOneIn(2)) {
            plague();
        }
        isStarted_ = true;
        for (auto rest = random_.below(4); rest > 0; --rest) {
            operate(Step::Notice::none);
        }
        put({.kind = Kind::start, .notice = anyNotice()});
        for (auto rest = shortest + random_.below(usualLength); rest > 0; --rest) {
            isCalm || random_.below(10) < 7 ? live() : suffer();
        }
        put({.kind = Kind::settle});
        return std::move(history_);
    }

private:
    void put(Step step) { history_.steps.push_back(std::move(step)); }
    Step::Notice anyNotice() {
        static constexpr Step::Notice notices[] = {Step::Notice::none, Step::Notice::delivered,
                                                   Step::Notice::handled, Step::Notice::handled};
        return random_.oneOf(notices);
    }

    void live() {
        if (random_.below(4) > 0) {
            operate(anyNotice());
        } else if (random_.isOneIn(12)) {
            put({.kind = Kind::settle});
            kernel_.runTo(kernel_.now() + 60);
        } else {
            static constexpr double times[] = {0.0005, 0.002, 0.02, 0.3, 1, 1.5, 4};
            double const seconds = random_.oneOf(times);
            put({.kind = Kind::wait, .seconds = seconds});
            kernel_.runTo(kernel_.now() + seconds);
        }
    }

    // What makes no sense is left out here already.
    void operate(Step::Notice notice) {
        for (;;) {
            Operation const operation = random_.below(4) > 0 ? operations_.propose(kernel_)
                                                             : Peculiar(random_, kernel_).propose();
            if (performed(kernel_, operation) == 0) {
                bool const isWithin = isStarted_ && random_.isOneIn(4);
                // What changes within a dump is told by its end: else nobody could know that the
                // dump has missed what stood behind something that went.
                bool const mayBeWithin = history_.isPrompt;
                auto const told = isWithin ? Step::Notice::within : notice;
                return put({.kind = Kind::operate,
                            .notice = told == Step::Notice::within && !mayBeWithin
                                          ? Step::Notice::handled
                                          : told,
                            .operation = operation,
                            .calls = 1 + random_.below(random_.isOneIn(2) ? 4 : 20)});
            }
        }
    }

    void suffer() {
        switch (random_.below(history_.isPrompt ? 6 : 7)) {
            case 0:
                return plague();
            case 1:
                return put({.kind = Kind::plague, .plan = {}});  // it is over
            case 2:
                put({.kind = Kind::overrun,
                     .notice = Step::Notice::none,
                     .network = random_.isOneIn(2) ? kernel_.ownNamespace()
                                                   : random_.oneOf(kernel_.namespaces())});
                // Most likely within the dump that follows.
                for (auto rest = random_.below(4); rest > 0; --rest) {
                    operate(Step::Notice::within);
                }
                return put({.kind = Kind::wait, .seconds = 0.02});
            case 5:
                return put({.kind = Kind::noMemory, .calls = random_.below(20)});
            case 6:
                return put({.kind = Kind::delay,
                            .network = random_.oneOf(kernel_.namespaces()),
                            .seconds = longestDelay * random_.below(100) / 100});
            default:
                return put({.kind = Kind::misfortune, .fault = anyFault()});
        }
    }

    Fault anyFault() {
        for (;;) {
            auto const fault =
                static_cast<Fault>(random_.below(static_cast<std::uint32_t>(Fault::count)));
            if (!history_.isPrompt || !delays(fault)) {
                return fault;
            }
        }
    }

    void plague() {
        static constexpr double chances[] = {0.02, 0.1, 0.3};
        Step step{.kind = Kind::plague,
                  .plan = {.seed = random_.next(), .longestDelay = longestDelay}};
        for (auto rest = 1 + random_.below(5); rest > 0; --rest) {
            step.plan[anyFault()] = random_.oneOf(chances);
        }
        put(std::move(step));
    }

    Random random_;
    RandomOperations operations_;
    // Without an agent on it, so that what it proposes does not depend on that.
    FakeKernel kernel_;
    History history_;
    bool isStarted_ = false;
};

std::string_view toText(Step::Notice notice) {
    switch (notice) {
        case Step::Notice::none:
            return "  (not told yet)";
        case Step::Notice::delivered:
            return "  (told, and not run yet)";
        case Step::Notice::handled:
            return "";
        case Step::Notice::within:
            return "  (within)";
    }
    return "";
}

std::string_view toText(Fault fault) {
    static constexpr std::array<std::string_view, FaultPlan::faults> names{
        "loseNotification", "delayNotifications", "duplicate",   "addressBeforeLink",
        "foreignSender",    "strayReply",         "unknownType", "unknownAttribute",
        "truncate",         "interruptDump",      "refuseDump",  "failDump",
        "failListing",      "forgetName",         "failOpening", "failSending",
        "delayNames"};
    return names[static_cast<std::size_t>(fault)];
}

std::string toText(FaultPlan const& plan) {
    std::string text;
    for (std::size_t i = 0; i < FaultPlan::faults; ++i) {
        if (plan.chance[i] > 0) {
            text += fmt::format(" {} {}", toText(static_cast<Fault>(i)), plan.chance[i]);
        }
    }
    return text.empty() ? " none" : text + fmt::format(", of seed {}", plan.seed);
}

std::string toText(Step const& step) {
    switch (step.kind) {
        case Kind::operate:
            return fmt::format("{}{}", Netlink::Fake::text(step.operation),
                               step.notice == Step::Notice::within
                                   ? fmt::format("  (within, {} calls later)", step.calls)
                                   : toText(step.notice));
        case Kind::start:
            return fmt::format("the agent starts{}", toText(step.notice));
        case Kind::misfortune:
            return fmt::format("next: {}", toText(step.fault));
        case Kind::plague:
            return fmt::format("misfortunes:{}", toText(step.plan));
        case Kind::overrun:
            return fmt::format("notifications of {} are lost{}", step.network.inode,
                               toText(step.notice));
        case Kind::noMemory:
            return fmt::format("no memory, {} allocations behind a datagram", step.calls);
        case Kind::delay:
            return fmt::format("notifications of {} come {} s late", step.network.inode,
                               step.seconds);
        case Kind::wait:
            return fmt::format("{} s pass", step.seconds);
        case Kind::settle:
            return "misfortunes end, and all is judged";
    }
    return "";
}

}  // namespace

History randomHistory(std::uint64_t seed) { return Generator(seed).history(); }

std::string text(History const& history) {
    std::string lines = fmt::format("dumps come in datagrams of {} bytes\n", history.datagramLimit);
    for (Step const& step : history.steps) {
        lines += toText(step) + '\n';
    }
    return lines;
}

int performed(FakeKernel& kernel, Operation const& operation) {
    auto const isThere = [all = kernel.namespaces()](Netlink::NamespaceId id) {
        return id == Netlink::NamespaceId() || std::ranges::find(all, id) != all.end();
    };
    return isThere(operation.place.network) && isThere(operation.otherPlace.network)
               ? perform(kernel, operation)
               : EINVAL;
}

}  // namespace Simulated
