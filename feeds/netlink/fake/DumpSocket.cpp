#include "feeds/netlink/fake/DumpSocket.h"

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace Netlink::Fake {

namespace {

bool isDump(nlmsghdr const& request) { return (request.nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP; }

// Of what cannot be answered, before anything is looked at.
int objection(nlmsghdr const& request, unsigned family) {
    bool const known = isDump(request) &&
                       (request.nlmsg_type == RTM_GETLINK
                            ? family == AF_UNSPEC
                            : request.nlmsg_type == RTM_GETADDR &&
                                  (family == AF_UNSPEC || family == AF_INET || family == AF_INET6));
    return known ? 0 : EOPNOTSUPP;
}

}  // namespace

DumpSocket::DumpSocket(Faults& faults, Options options, Network& network,
                       DumpConditions const& conditions)
    : QueuedSocket(faults, std::move(options)), network_(network), conditions_(conditions) {}

void DumpSocket::send(std::span<std::byte const> message) {
    if (auto const error = faults().strikes(Fault::failSending)) {
        throw std::system_error(*error, std::generic_category(), "netlink send");
    }
    nlmsghdr request;
    rtgenmsg general;
    if (message.size() < NLMSG_HDRLEN + sizeof general) {
        return;  // As Linux does with what is too short to be answered.
    }
    std::memcpy(&request, message.data(), sizeof request);
    std::memcpy(&general, message.data() + NLMSG_HDRLEN, sizeof general);
    if (request.nlmsg_len > message.size() || (request.nlmsg_flags & NLM_F_REQUEST) == 0) {
        return;
    }
    answer(request, general.rtgen_family);
}

void DumpSocket::answer(nlmsghdr const& request, unsigned family) {
    Envelope const single{.flags = 0, .sequence = request.nlmsg_seq, .port = port()};
    int error = objection(request, family);
    if (error == 0 && dump_) {
        error = EBUSY;
    }
    if (error == 0) {
        error = faults().strikes(Fault::refuseDump).value_or(0);
    }
    if (error != 0) {
        push({.bytes = errorMessage(error, request, single)});
        return;
    }
    Envelope const part{.flags = NLM_F_MULTI, .sequence = request.nlmsg_seq, .port = port()};
    dump_.emplace(network_, faults(), request.nlmsg_type, family, part);
    continueDump();
}

void DumpSocket::wasRead() {
    if (dump_ && halfEmpty()) {
        continueDump();
    }
}

void DumpSocket::continueDump() {
    pushStrangers();
    pushStrayReplies();
    push({.bytes = dump_->next(conditions_.datagramLimit, conditions_.now)});
    if (dump_->done()) {
        dump_.reset();
    }
}

// An end that is not meant for the dump that runs, and a link that is not there.
void DumpSocket::pushStrayReplies() {
    if (!faults().strikes(Fault::strayReply)) {
        return;
    }
    Envelope stray{.port = port()};
    if (faults().any(2) == 0) {
        stray.sequence = 0x7fffffff;
    } else {
        stray.sequence = 1;
        stray.port = port() + 1;
    }
    push({.bytes = Messages::operator+(Messages::link(78, "stray", stray), doneMessage(0, stray))});
}

}  // namespace Netlink::Fake
