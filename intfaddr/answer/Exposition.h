// Metrics in the text format that Prometheus reads, version 0.0.4, written little by little: what a
// family is comes once, its samples in as many steps as they take.
//
//   # HELP intfaddr_rows Rows of the VRF's table.
//   # TYPE intfaddr_rows gauge
//   intfaddr_rows{vrf="default"} 3
//   intfaddr_rows{vrf="red"} 1
//
// The format is UTF-8, and names may be any bytes. In a name that is not UTF-8, or has U+FFFD, each
// byte beyond ASCII is written as U+FFFD and two hexadecimal digits: so names that differ are
// written differently, and no series comes twice.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "intfaddr/http/Reply.h"

namespace IntfAddr {

class Exposition final : public Body {
public:
    static constexpr char const* contentType = "text/plain; version=0.0.4; charset=utf-8";

    enum class Type { counter, gauge, histogram };
    using Labels = std::vector<std::pair<std::string_view, std::string_view>>;

    // Of one family.
    class Samples {
    public:
        Samples(std::string const& family, std::string& out) : family_(family), out_(out) {}
        // `suffix` is of the sample's name: "_bucket", "_sum" and "_count" of a histogram.
        void add(Labels const& labels, double value, std::string_view suffix = {});

    private:
        std::string const& family_;
        std::string& out_;
    };
    // Writes what one step finds. Returns whether there is more to do.
    using Step = std::function<bool(Samples& samples)>;

    // In this order; each name once.
    Exposition& family(std::string name, Type type, std::string help, Step step);
    // Of one sample without labels; of none, where there is no value.
    Exposition& value(std::string name, Type type, std::string help,
                      std::function<std::optional<double>()> value);

    Progress next(std::string& buffer) override;

private:
    struct Family {
        std::string name;
        Type type;
        std::string help;
        Step step;
    };

    std::vector<Family> families_;
    std::size_t current_ = 0;
    bool isBegun_ = false;
};

}  // namespace IntfAddr
