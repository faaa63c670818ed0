// Kernel-streaming access shared by the DSP route: IKsControl and the device
// topology interfaces, and the sending of one property record.
#pragma once

#include <windows.h>
#include <devicetopology.h>

#include <cstring>

#include "core/PpApiRequests.h"

namespace kelix {

// IPart::GetTopologyObject, which the mingw-w64 headers name GetTopologyObjects.
inline HRESULT GetTopologyObject(IPart* part, IDeviceTopology** topology) {
#ifdef __MINGW32__
    return part->GetTopologyObjects(topology);
#else
    return part->GetTopologyObject(topology);
#endif
}

// IKsControl::KsProperty with a record of the wire format, from an aligned copy as a
// KSPROPERTY wants it. bytesReturned may be null when the count does not matter.
template <std::size_t Size>
HRESULT SendKsProperty(IKsControl* control, const KsRecord<Size>& record, void* data, ULONG dataLength,
                       ULONG* bytesReturned = nullptr) {
    alignas(KSPROPERTY) BYTE property[Size];
    std::memcpy(property, record.data(), Size);
    ULONG returned = 0;
    return control->KsProperty(static_cast<PKSPROPERTY>(static_cast<void*>(property)), static_cast<ULONG>(Size),
                               data, dataLength, bytesReturned != nullptr ? bytesReturned : &returned);
}

}  // namespace kelix
