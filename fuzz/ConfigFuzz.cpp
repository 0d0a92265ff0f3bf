// The three configuration records, in their value forms.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "IpLib/IntfAddrVrfTableSmTypes/DelayedTaskConfig.h"
#include "IpLib/IntfAddrVrfTableSmTypes/IntfAddrVrfTableSmConfig.h"
#include "OneForm.h"

using IpLib::IntfAddrVrfTableSmConfig;
using IpLib::IntfAddrVrfTableImpl::DeferredIntfAddSmConfig;
using IpLib::IntfAddrVrfTableImpl::IntfCleanupSmConfig;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text = Fuzz::textOf(data, size);
    auto const print = [](auto const& value) { return valueToStrep(value); };
    Fuzz::checkTexts<IntfAddrVrfTableSmConfig>(
        text, "Value('IpLib::IntfAddrVrfTableSmConfig', ** {'intfCleanupDelay': ",
        ", 'ignoreKernelInterfaceState': true, 'taskPriority': 'normal'})", print);
    Fuzz::checkTexts<IntfAddrVrfTableSmConfig>(
        text,
        "Value('IpLib::IntfAddrVrfTableSmConfig', ** {'intfCleanupDelay': 1.5, "
        "'deferredIntfAddDelay': 2, 'ignoreKernelInterfaceState': ",
        "})", print);
    Fuzz::checkTexts<IntfCleanupSmConfig>(
        text, "Value('IpLib::IntfAddrVrfTableImpl::IntfCleanupSmConfig', ** {'delay': ", "})",
        print);
    Fuzz::checkTexts<DeferredIntfAddSmConfig>(
        text, "Value('IpLib::IntfAddrVrfTableImpl::DeferredIntfAddSmConfig', ** {'delay': ",
        ", 'taskPriority': 'idle'})", print);
    return 0;
}
