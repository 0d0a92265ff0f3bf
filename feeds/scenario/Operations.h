// The operations of scenario files: what each is called, which fields it has, what it does.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "feeds/scenario/Fields.h"
#include "feeds/scenario/Run.h"

namespace Scenario {

// The name of the operation that configures a run: only as the first one.
constexpr std::string_view configOp = "config";

struct Operation {
    std::string_view name;
    // Beside those that every operation has.
    std::vector<Field> fields;
    // Takes every field, so that each is checked. The effect of a question is what it prints.
    Routing::Effect (*check)(Run& run, Fields const& fields);
};

// In an order for people to read.
std::span<Operation const> operations();

// Throws LineError if there is none of that name.
Operation const& operationOf(std::string_view name);

// Of the fields of the operation `configOp`.
Config readConfig(Fields const& fields);

}  // namespace Scenario
