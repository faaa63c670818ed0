#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <optional>
#include <string_view>

namespace sim {

// Kinds of simulated COM objects, one per object class. An object answering several interfaces
// (IMMDevice with IMMEndpoint) is one kind, named after its main interface.
enum class Kind : size_t {
    DeviceEnumerator,
    DeviceCollection,
    Device,  // endpoint devices and the KS filter devices of the device topology
    PropertyStore,
    PolicyConfig,
    DeviceTopology,
    Part,  // connectors (IPart with IConnector) and subunits (IPart with ISubunit)
    PartsList,
    InputSelector,
    OutputSelector,
    KsControl,
    Count
};

// Live simulated objects and the references held on them, per kind. Every object reports its
// birth (with its first reference), each AddRef and Release, and its death.
class Ledger {
public:
    static std::string_view Name(Kind kind);
    static std::optional<Kind> FromName(std::string_view name);

    void Born(Kind kind) noexcept;   // a new object with one reference
    void AddRef(Kind kind) noexcept;
    void Release(Kind kind) noexcept;
    void Died(Kind kind) noexcept;   // after its last Release

    long References(Kind kind) const noexcept;
    long Objects(Kind kind) const noexcept;
    long TotalReferences() const noexcept;
    long TotalObjects() const noexcept;

private:
    static constexpr size_t kKinds = static_cast<size_t>(Kind::Count);
    std::array<std::atomic<long>, kKinds> references_{};
    std::array<std::atomic<long>, kKinds> objects_{};
};

}  // namespace sim
