// The framework's own text forms, and the fields of a short form.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "RoundTrip.h"
#include "Zin/Format.h"
#include "Zin/Seconds.h"
#include "Zin/String.h"
#include "Zin/Text.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text = Fuzz::textOf(data, size);
    Fuzz::checkRoundTrip<bool>(text);
    Fuzz::checkRoundTrip<std::int8_t>(text);
    Fuzz::checkRoundTrip<std::uint64_t>(text);
    Fuzz::checkRoundTrip<Zin::Seconds>(text);
    Fuzz::checkRoundTrip<Zin::String>(text);
    Fuzz::checkPrintedForms(Zin::String(text));

    // A field may hold any text, also one that looks like the fields behind it.
    std::string const fields = fmt::format("name={};up={}", text, true);
    Zin::TextReader reader(fields);
    Fuzz::require(reader.field<Zin::String>("name", "up") == Zin::String(text));
    Fuzz::require(reader.field<bool>("up"));
    reader.end();
    return 0;
}
