#include "feeds/netlink/Feed.h"

#include <algorithm>
#include <string_view>
#include <system_error>
#include <utility>

#include "Zin/Errors.h"
#include "Zin/Format.h"

namespace Netlink {

namespace {

std::string const namespacePrefix = "ns-";
// How long namespaces that cannot be read whole hold up the others at the start.
constexpr Zin::Seconds startPatience = 10.0;
// When to look again where the names of namespaces could not be read.
constexpr Zin::Seconds scanPause = 1.0;

// Of what has been told, so that it is told once; whoever makes more of it hears some of it again.
constexpr std::size_t maxTold = 1000;

std::string vrfText(L3::VrfName const& vrf) { return fmt::format("VRF '{}'", vrf); }

std::string spaceText(std::string const& name) { return fmt::format("namespace '{}'", name); }

void ignore(std::string const&, std::string const&) {}

char const* const unlisted = "what has changed of namespaces";

std::uint32_t ifIndexOf(LinkIs const& change) { return change.link.ifIndex; }
std::uint32_t ifIndexOf(LinkGone const& change) { return change.ifIndex; }
std::uint32_t ifIndexOf(AddressIs const& change) { return change.address.ifIndex; }
std::uint32_t ifIndexOf(AddressGone const& change) { return change.address.ifIndex; }
std::uint32_t ifIndexOf(Change const& change) {
    return std::visit([](auto const& one) { return ifIndexOf(one); }, change);
}

// Why no VRF can have that name.
std::optional<std::string> badVrfName(L3::VrfName const& vrf) {
    try {
        static_cast<void>(vrf.nsName());
        return std::nullopt;
    } catch (Zin::Error const& error) {
        return error.what();
    }
}

}  // namespace

Feed::Feed(Kernel& kernel, Options options, Publish publish, Notice notice)
    : kernel_(kernel),
      options_(std::move(options)),
      publish_(std::move(publish)),
      notice_(std::move(notice)),
      own_(kernel.ownNamespace()) {
    follow(0, std::nullopt, "default");
    watch();
}

Feed::~Feed() { kernel_.watchNamespaces(nullptr); }

void Feed::coalesceIs(Zin::Seconds coalesce) {
    options_.follower.coalesce = coalesce;
    for (auto const& [number, space] : spaces_) {
        space.follower->coalesceIs(coalesce);
    }
}

void Feed::watch() {
    if (!options_.watches || isWatching_) {
        return;
    }
    try {
        kernel_.watchNamespaces([this] { mustScan_ = true; });
        isWatching_ = true;
    } catch (std::system_error const& error) {
        tellOnce(
            fmt::format("names of namespaces are looked at each second, for want of a watch: {}",
                        error.what()));
    }
}

void Feed::follow(std::uint64_t number, std::optional<NamedNamespace> named,
                  L3::VrfName const& vrf) {
    std::string const label = vrfText(vrf);
    auto follower = std::make_unique<Follower>(kernel_, named, label, options_.follower, notice_);
    if (options_.told) {
        follower->tellIs(
            [this, number](Change const& change, Zin::Seconds now) { tell(number, change, now); });
    }
    spaces_.emplace(number, Space{.named = named, .vrf = vrf, .follower = std::move(follower)});
}

void Feed::tell(std::uint64_t number, Change const& change, Zin::Seconds now) const {
    Space const& space = spaces_.at(number);
    std::uint32_t const ifIndex = ifIndexOf(change);
    auto const* const one = space.follower->mirror().find(ifIndex);
    if (auto const vrf = vrfOf(number, space, ifIndex, ignore); vrf && one && one->link) {
        options_.told(*vrf, one->link->name, change, now);
    }
}

Zin::Seconds Feed::nextExpiry() const {
    Zin::Seconds next = isStarted_ ? nextScan_ : std::min(nextScan_, latestStart_.value_or(0.0));
    for (auto const& [number, space] : spaces_) {
        next = std::min(next, space.follower->nextExpiry());
    }
    return next;
}

void Feed::run(Zin::Seconds now) {
    if (!latestStart_) {
        latestStart_ = now + startPatience;
    }
    if (mustScan_ || nextScan_ <= now) {
        scan(now);
    }
    for (auto& [number, space] : spaces_) {
        space.since = space.since.value_or(now);
        space.follower->run(now);
    }
    isStarted_ = isStarted_ || canStart(now);
    if (isStarted_) {
        publish(now);
    }
}

void Feed::scan(Zin::Seconds now) {
    mustScan_ = false;
    nextScan_ = Velk::never;
    try {
        auto const there = kernel_.namedNamespaces();
        scanFailure_.reset();
        forgetGone(there);
        followNew(there);
        watch();
        bool const goesUnseen = std::ranges::any_of(there, &NamedNamespace::goesUnseen);
        if (options_.watches && (goesUnseen || !isWatching_)) {
            nextScan_ = now + scanPause;
        }
    } catch (std::system_error const& error) {
        scanFailure_ = error.what();
        tellLeftOut(unlisted, *scanFailure_);
        nextScan_ = now + scanPause;
    }
}

void Feed::forgetGone(std::vector<NamedNamespace> const& there) {
    for (auto one = spaces_.begin(); one != spaces_.end();) {
        auto const& [number, space] = *one;
        if (isOwn(number) || std::ranges::find(there, *space.named) != there.end()) {
            ++one;
            continue;
        }
        publication_.setGone(number);
        if (space.isVrf) {
            publication_.vrfDel(space.vrf);
        }
        namespaceVrfs_.erase(space.vrf);
        touchDevices(space.vrf);
        one = spaces_.erase(one);
    }
}

void Feed::followNew(std::vector<NamedNamespace> const& there) {
    leftOutNamespaces_.clear();
    for (NamedNamespace const& named : there) {
        if (!named.name.starts_with(namespacePrefix) ||
            named.name.size() == namespacePrefix.size()) {
            continue;
        }
        L3::VrfName const vrf(named.name.substr(namespacePrefix.size()));
        bool const isFollowed = std::ranges::any_of(
            spaces_, [&named](auto const& space) { return space.second.named == named; });
        if (isFollowed || !isWanted(vrf)) {
            continue;
        }
        if (auto const why = refusal(named)) {
            leftOutNamespaces_.emplace(spaceText(named.name), *why);
            tellLeftOut(spaceText(named.name), why->why);
            continue;
        }
        namespaceVrfs_.insert(vrf);
        touchDevices(vrf);
        follow(nextNumber_++, named, vrf);
    }
}

std::optional<Feed::Refusal> Feed::refusal(NamedNamespace const& named) const {
    L3::VrfName const vrf(named.name.substr(namespacePrefix.size()));
    if (vrf.isDefault()) {
        return Refusal{"the program's own namespace is the VRF of that name", named.id == own_};
    }
    if (named.id == own_) {
        return Refusal{"it is the program's own namespace", true};
    }
    for (auto const& [number, space] : spaces_) {
        if (space.named && space.named->id == named.id) {
            return Refusal{fmt::format("it is {} under another name", space.named->name), true};
        }
    }
    if (auto const bad = badVrfName(vrf)) {
        return Refusal{*bad};
    }
    if (isStarted_ && !options_.followsNew) {
        return Refusal{"it came after the start, and is not followed: namespaces are fixed"};
    }
    return std::nullopt;
}

// What is in the own namespace may be the VRF too, as a device.
bool Feed::isWanted(L3::VrfName const& vrf) const {
    return !options_.only || *options_.only == vrf ||
           options_.only->bytes().starts_with(vrf.bytes() + "/");
}

// Whether devices of that name make a VRF depends on whether a namespace does.
void Feed::touchDevices(L3::VrfName const& vrf) {
    Mirror& mirror = spaces_.at(0).follower->mirror();
    for (std::uint32_t const ifIndex : mirror.vrfDevices()) {
        if (mirror.find(ifIndex)->link->name.name() == vrf.bytes()) {
            mirror.touch(ifIndex);
        }
    }
}

bool Feed::canStart(Zin::Seconds now) const {
    return latestStart_ <= now || std::ranges::all_of(spaces_, [](auto const& space) {
               return space.second.follower->isReady() || space.second.follower->isClosed();
           });
}

bool Feed::canPublish(Space const& space, Zin::Seconds now) {
    Follower const& follower = *space.follower;
    bool const isLate = now - space.since.value_or(now) >= startPatience;
    return !follower.isCatchingUp() && (follower.isReady() || (isLate && follower.hasSeen()));
}

void Feed::publish(Zin::Seconds now) {
    for (auto& [number, space] : spaces_) {
        if (canPublish(space, now)) {
            paint(number, space);
        }
    }
    auto const operations = publication_.take();
    if (!operations.empty()) {
        publish_(operations);
    }
}

void Feed::paint(std::uint64_t number, Space& space) {
    if (!std::exchange(space.isVrf, true)) {
        publication_.vrfIs(space.vrf);
    }
    Mirror& mirror = space.follower->mirror();
    for (std::uint32_t const ifIndex : mirror.takeTouched()) {
        LinkRef const ref{.space = number, .ifIndex = ifIndex};
        auto const vrf = vrfOf(number, space, ifIndex, [this](auto const& name, auto const& why) {
            tellLeftOut(name, why);
        });
        auto picture = pictureOf(number, space, ifIndex);
        if (vrf && picture.status) {
            publication_.set(ref, PublishedLink{.vrf = *vrf, .status = *std::move(picture.status)});
        } else {
            publication_.set(ref, std::nullopt);
        }
    }
}

LinkPicture Feed::pictureOf(std::uint64_t number, Space const& space, std::uint32_t ifIndex) const {
    auto const* const before = publication_.published({.space = number, .ifIndex = ifIndex});
    return Netlink::pictureOf(space.follower->mirror(), ifIndex, options_.policy,
                              before ? before->status.ip.primary : Nimb::IpAddrWithMask());
}

std::optional<L3::VrfName> Feed::vrfOf(std::uint64_t number, Space const& space,
                                       std::uint32_t ifIndex, Refuse const& refuse) const {
    auto const device = space.follower->mirror().vrfDevice(ifIndex);
    if (!device) {
        refuse(fmt::format("interface {} of {}", ifIndex, vrfText(space.vrf)),
               "its masters go in a circle");
        return std::nullopt;
    }
    if (!*device) {
        return space.vrf;
    }
    auto const name = (*device)->name.name();
    L3::VrfName const vrf(isOwn(number) ? std::string(name)
                                        : fmt::format("{}/{}", space.vrf.bytes(), name));
    std::string const what = "device of " + vrfText(vrf);
    if (isOwn(number) && vrf.isDefault()) {
        refuse(what, "the program's own namespace is the VRF of that name");
        return std::nullopt;
    }
    if (isOwn(number) && namespaceVrfs_.contains(vrf)) {
        refuse(what, "a namespace is the VRF of that name");
        return std::nullopt;
    }
    if (auto const why = badVrfName(vrf)) {
        refuse(what, *why);
        return std::nullopt;
    }
    return vrf;
}

void Feed::tellLeftOut(std::string const& name, std::string const& why) {
    tellOnce(fmt::format("{} is left out: {}", name, why));
}

void Feed::tellOnce(std::string const& line) {
    if (told_.size() >= maxTold) {
        told_.clear();
    }
    if (told_.insert(line).second) {
        notice_(line);
    }
}

void Feed::forEachVrfDevice(EachDevice const& each) const {
    for (auto const& [number, space] : spaces_) {
        Mirror const& mirror = space.follower->mirror();
        for (std::uint32_t const ifIndex : mirror.vrfDevices()) {
            each(number, space, *mirror.find(ifIndex)->link);
        }
    }
}

std::string Feed::whyUnread(Space const& space) {
    return space.follower->distrust().value_or("it has not been read whole yet");
}

std::optional<std::string> Feed::unreadable(L3::VrfName const& vrf) const {
    for (auto const& [number, space] : spaces_) {
        if (space.vrf == vrf) {
            return space.isVrf ? std::nullopt : std::optional(whyUnread(space));
        }
    }
    auto const refused = leftOutNamespaces_.find(spaceText(namespacePrefix + vrf.bytes()));
    return refused == leftOutNamespaces_.end() ? std::nullopt : std::optional(refused->second.why);
}

std::map<std::string, std::string> Feed::leftOut() const {
    auto found = hidden();
    for (auto const& [name, refused] : leftOutNamespaces_) {
        found.emplace(name, refused.why);
    }
    return found;
}

std::map<std::string, std::string> Feed::hidden() const {
    std::map<std::string, std::string> found;
    if (scanFailure_) {
        found.emplace(unlisted, *scanFailure_);
    }
    for (auto const& [name, refused] : leftOutNamespaces_) {
        if (!refused.isKnown) {
            found.emplace(name, refused.why);
        }
    }
    for (auto const& [number, space] : spaces_) {
        if (!space.isVrf) {
            found.emplace(vrfText(space.vrf), whyUnread(space));
        }
    }
    forEachVrfDevice([&](std::uint64_t number, Space const& space, Link const& device) {
        vrfOf(number, space, device.ifIndex,
              [&found](auto const& name, auto const& why) { found.emplace(name, why); });
    });
    return found;
}

std::map<L3::VrfName, Follower::Counts> Feed::counts() const {
    std::map<L3::VrfName, Follower::Counts> found;
    for (auto const& [number, space] : spaces_) {
        found.emplace(space.vrf, space.follower->counts());
    }
    return found;
}

std::map<L3::VrfName, std::string> Feed::stale() const {
    std::map<L3::VrfName, std::string> found;
    for (auto const& [number, space] : spaces_) {
        if (space.isVrf && space.follower->distrust()) {
            found.emplace(space.vrf, *space.follower->distrust());
            // Those of its devices, as they are published: the mirror may have lost them.
            for (auto const& vrf : publication_.vrfsOf(number)) {
                found.emplace(vrf, *space.follower->distrust());
            }
        }
    }
    return found;
}

std::optional<LinkRef> Feed::linkAfter(std::optional<LinkRef> const& link) const {
    LinkRef const before = link.value_or(LinkRef{});
    for (auto space = spaces_.lower_bound(before.space); space != spaces_.end(); ++space) {
        auto const& links = space->second.follower->mirror().links();
        bool const isFirst = link && space->first == before.space;
        auto const next = isFirst ? links.upper_bound(before.ifIndex) : links.begin();
        if (next != links.end()) {
            return LinkRef{.space = space->first, .ifIndex = next->first};
        }
    }
    return std::nullopt;
}

void Feed::forEachAddressOf(LinkRef const& ref, EachAddress const& each) const {
    auto const found = spaces_.find(ref.space);
    if (found == spaces_.end()) {
        return;
    }
    auto const& [number, space] = *found;
    auto const* const one = space.follower->mirror().find(ref.ifIndex);
    auto const vrf = vrfOf(number, space, ref.ifIndex, ignore);
    if (!one || !one->link || !vrf) {
        return;
    }
    for (AddressPicture const& address : pictureOf(number, space, ref.ifIndex).addresses) {
        each(*vrf, one->link->name, address);
    }
}

void Feed::forEachAddress(EachAddress const& each) const {
    for (auto link = linkAfter(std::nullopt); link; link = linkAfter(link)) {
        forEachAddressOf(*link, each);
    }
}

}  // namespace Netlink
