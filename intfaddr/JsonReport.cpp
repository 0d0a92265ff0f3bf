#include "intfaddr/JsonReport.h"

#include <nlohmann/json.hpp>

namespace IntfAddr {

namespace {

using Json = nlohmann::ordered_json;

Json jsonOf(Unpublished const& unpublished);
Json jsonOf(VrfReport const& one);

Json flagsOf(Routing::Row const& row) {
    Json flags = Json::array();
    auto const add = [&flags](bool is, char const* flag) {
        if (is) {
            flags.push_back(flag);
        }
    };
    add(row.linkLocal(), "link-local");
    add(row.deprecated, "deprecated");
    add(row.virtualIp, "virtual");
    return flags;
}

Json jsonOf(Routing::Row const& row) {
    Json json;
    json["address"] = row.addr.toStrep();
    json["prefixLength"] = row.prefixLength();
    json["family"] = toStrep(row.addr.family());
    json["interface"] = row.virtualIp ? Json(nullptr) : Json(row.intfId.name());
    json["subnet"] = row.virtualIp ? Json(nullptr) : Json(row.subnet.toStrep());
    json["flags"] = flagsOf(row);
    return json;
}

Json jsonOf(Routing::DeferredAddr const& deferred) {
    Json json;
    json["address"] = deferred.addr.address().toStrep();
    json["prefixLength"] = deferred.addr.prefixLength();
    json["family"] = toStrep(deferred.addr.family());
    json["interface"] = deferred.intfId.name();
    json["conflictsWith"] = deferred.holder ? Json(deferred.holder->intfId.name()) : Json(nullptr);
    return json;
}

template <class Items>
Json listOf(Items const& items) {
    Json list = Json::array();
    for (auto const& item : items) {
        list.push_back(jsonOf(item));
    }
    return list;
}

Json jsonOf(Unpublished const& unpublished) {
    Json json;
    json["address"] = unpublished.addr.address().toStrep();
    json["prefixLength"] = unpublished.addr.prefixLength();
    json["family"] = toStrep(unpublished.addr.family());
    json["interface"] = unpublished.intfId.name();
    json["why"] = unpublished.why;
    return json;
}

Json jsonOf(VrfReport const& one) {
    Json json;
    json["name"] = one.vrf.text();
    json["addresses"] = listOf(one.rows);
    json["deferred"] = listOf(one.deferred);
    json["notPublished"] = listOf(one.unpublished);
    if (one.stale) {
        json["stale"] = *one.stale;
    }
    return json;
}

Json documentOf(Report const& report) {
    Json document;
    document["vrfs"] = listOf(report);
    return document;
}

}  // namespace

std::string toJson(Report const& report) {
    return documentOf(report).dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

std::string toJsonLine(Report const& report) {
    return documentOf(report).dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace IntfAddr
