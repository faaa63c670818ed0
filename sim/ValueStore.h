#pragma once

#include <windows.h>
#include <propsys.h>

#include <cstddef>
#include <mutex>
#include <utility>
#include <vector>

#include "sim/PropVariant.h"

namespace sim {

// Property values by key, in the order of their first write. Thread-safe.
class ValueStore {
public:
    // Stores a deep copy, replacing an earlier value of the key in place.
    HRESULT Set(const PROPERTYKEY& key, const PROPVARIANT& value);
    // Copies the value out into *out (overwritten, not cleared first); VT_EMPTY and S_OK when absent.
    HRESULT Get(const PROPERTYKEY& key, PROPVARIANT* out) const;
    bool Has(const PROPERTYKEY& key) const;
    size_t Count() const;
    bool KeyAt(size_t index, PROPERTYKEY* key) const;

private:
    using Entry = std::pair<PROPERTYKEY, PropVariant>;
    static constexpr size_t kAbsent = static_cast<size_t>(-1);
    size_t IndexLocked(const PROPERTYKEY& key) const;

    mutable std::mutex mutex_;
    std::vector<Entry> values_;
};

}  // namespace sim
