#include "PropertyStoreTable.h"

namespace kelix {

PropertyStoreTable::~PropertyStoreTable() {
    for (auto& entry : stores_) entry.second.store.Detach();
}

PropertyStoreTable& PropertyStoreTable::Instance() {
    static PropertyStoreTable table;
    return table;
}

IPropertyStore* PropertyStoreTable::Find(const wchar_t* deviceId) const {
    const auto entry = stores_.find(std::wstring_view(deviceId));
    return entry == stores_.end() ? nullptr : entry->second.store.Get();
}

void PropertyStoreTable::Insert(const wchar_t* deviceId, Microsoft::WRL::ComPtr<IPropertyStore> store) {
    stores_.insert_or_assign(deviceId, Entry{std::move(store)});
}

void PropertyStoreTable::MarkInvalidated(const wchar_t* deviceId) {
    const auto entry = stores_.find(std::wstring_view(deviceId));
    if (entry != stores_.end()) entry->second.invalidated = true;
}

bool PropertyStoreTable::Invalidated(const wchar_t* deviceId) const {
    const auto entry = stores_.find(std::wstring_view(deviceId));
    return entry != stores_.end() && entry->second.invalidated;
}

IPropertyStore* PropertyStoreTable::Remove(const wchar_t* deviceId) {
    const auto entry = stores_.find(std::wstring_view(deviceId));
    if (entry == stores_.end()) return nullptr;
    IPropertyStore* address = entry->second.store.Get();
    stores_.erase(entry);
    return address;
}

}  // namespace kelix
