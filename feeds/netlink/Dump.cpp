#include "feeds/netlink/Dump.h"

#include <libmnl/libmnl.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <system_error>
#include <utility>

#include "Zin/Format.h"

namespace Netlink {

Dump::Dump(Socket& socket, std::uint32_t sequence) : socket_(socket), sequence_(sequence) {
    ask(RTM_GETLINK);
}

void Dump::ask(std::uint16_t type) {
    alignas(nlmsghdr) std::byte buffer[256];
    nlmsghdr* const request = mnl_nlmsg_put_header(buffer);
    request->nlmsg_type = type;
    request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request->nlmsg_seq = sequence_;
    if (type == RTM_GETLINK) {
        mnl_nlmsg_put_extra_header(request, sizeof(ifinfomsg));
        // Counters are most of what a link has to tell, and take the longest to gather.
        mnl_attr_put_u32(request, IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
    } else {
        mnl_nlmsg_put_extra_header(request, sizeof(ifaddrmsg));
    }
    socket_.send(std::as_bytes(std::span(buffer)).first(request->nlmsg_len));
}

void Dump::read(std::span<std::byte const> datagram, Skipped& skipped) {
    auto const damaged = skipped.damaged();
    readMessages(datagram, skipped,
                 [this, &skipped](Message const& message) { handle(message, skipped); });
    if (skipped.damaged() != damaged) {
        damage("a part of it could not be read");
    }
}

void Dump::damage(std::string why) {
    if (!flaw_) {
        flaw_ = std::move(why);
    }
}

void Dump::handle(Message const& message, Skipped& skipped) {
    if (done_ || message.sequence != sequence_ || message.port != socket_.port()) {
        ++skipped.foreignMessages;
        return;
    }
    if (message.interrupted) {
        damage("it was interrupted");
    }
    if (auto const* const end = std::get_if<End>(&message.content)) {
        handleEnd(end->error);
    } else if (std::holds_alternative<Overrun>(message.content)) {
        damage("the kernel lost a part of it");
    } else if (auto const& change = std::get<Change>(message.content);
               auto const* const link = std::get_if<LinkIs>(&change)) {
        dumped_.links.push_back(link->link);
    } else if (auto const* const address = std::get_if<AddressIs>(&change)) {
        dumped_.addresses.push_back(address->address);
    }
}

void Dump::handleEnd(int error) {
    if (error != 0) {
        damage(fmt::format("the kernel refused it: {}", std::generic_category().message(error)));
        done_ = true;
    } else if (std::exchange(showsAddresses_, true)) {
        done_ = true;
    } else {
        ++sequence_;
        ask(RTM_GETADDR);
    }
}

}  // namespace Netlink
