// The keys and contents of the address table's rows, in short form.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "IpLib/IntfAddrVrfTableTypes/IntfAddrEntryContent.h"
#include "OneForm.h"

using IpLib::IntfAddrEntryContent;
using IpLib::IntfAddrEntryKey;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text = Fuzz::textOf(data, size);
    auto const print = [](auto const& value) { return value.toStrep(); };
    Fuzz::checkTexts<IntfAddrEntryKey>(text, "intfId=", ";addr=::1;virtualIp=true", print);
    Fuzz::checkTexts<IntfAddrEntryKey>(text, "intfId=;addr=", ";virtualIp=false", print);
    Fuzz::checkTexts<IntfAddrEntryContent>(text, "intfId=", ";addr=::1;virtualIp=true;subnet=::/64",
                                           print);
    Fuzz::checkTexts<IntfAddrEntryContent>(
        text, "intfId=;addr=10.0.0.1;virtualIp=false;subnet=", "", print);

    // An interface may have any name.
    IntfAddrEntryKey const key{Nimb::IntfId(text), {}, size % 2 == 0};
    Fuzz::checkForm(key, print);
    Fuzz::checkForm(IntfAddrEntryContent{key, key.intfId, {}}, print);
    return 0;
}
