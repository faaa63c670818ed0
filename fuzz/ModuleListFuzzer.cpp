// Module list replies of any bytes: the parser and the descriptor texts never
// read outside the reply, and every descriptor returned lies inside it.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/ModuleList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // An exact-size copy, so that ASan sees any read past the end.
    const std::vector<std::uint8_t> reply(data, data + size);
    const kelix::ModuleList list = kelix::ParseModuleList(reply);
    if (!list.descriptors.empty() &&
        (list.descriptors.size() > list.count ||
         kelix::kModuleListHeaderSize + list.descriptors.size() * kelix::kModuleDescriptorSize > size)) {
        __builtin_trap();
    }
    for (const kelix::ModuleDescriptor& descriptor : list.descriptors) {
        if (kelix::DescriptorText(descriptor.name).size() > kelix::kModuleTextSize ||
            kelix::WidenText(kelix::DescriptorText(descriptor.version)).size() > kelix::kModuleTextSize) {
            __builtin_trap();
        }
        (void)kelix::ModuleTypeName(descriptor.type);
    }
    return 0;
}
