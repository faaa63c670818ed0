#include "sim/Ledger.h"

namespace sim {

namespace {

// Indexed by Kind.
constexpr std::array<std::string_view, static_cast<size_t>(Kind::Count)> kKindNames = {
    "IMMDeviceEnumerator",
    "IMMDeviceCollection",
    "IMMDevice",
    "IPropertyStore",
    "IPolicyConfigVistaClient",
    "IDeviceTopology",
    "IPart",
    "IPartsList",
    "IAudioInputSelector",
    "IAudioOutputSelector",
    "IKsControl",
};

size_t Index(Kind kind) { return static_cast<size_t>(kind); }

}  // namespace

std::string_view Ledger::Name(Kind kind) { return kKindNames[Index(kind)]; }

std::optional<Kind> Ledger::FromName(std::string_view name) {
    for (size_t i = 0; i < kKindNames.size(); ++i) {
        if (kKindNames[i] == name) return static_cast<Kind>(i);
    }
    return std::nullopt;
}

void Ledger::Born(Kind kind) noexcept {
    ++objects_[Index(kind)];
    ++references_[Index(kind)];
}

void Ledger::AddRef(Kind kind) noexcept { ++references_[Index(kind)]; }

void Ledger::Release(Kind kind) noexcept { --references_[Index(kind)]; }

void Ledger::Died(Kind kind) noexcept { --objects_[Index(kind)]; }

long Ledger::References(Kind kind) const noexcept { return references_[Index(kind)]; }

long Ledger::Objects(Kind kind) const noexcept { return objects_[Index(kind)]; }

long Ledger::TotalReferences() const noexcept {
    long total = 0;
    for (const auto& count : references_) total += count;
    return total;
}

long Ledger::TotalObjects() const noexcept {
    long total = 0;
    for (const auto& count : objects_) total += count;
    return total;
}

}  // namespace sim
