// The one exception the library raises on purpose: a failed string allocation,
// carried as its HRESULT (E_OUTOFMEMORY) to the export, which returns it.
#pragma once

#include <windows.h>

namespace kelix {

class ComError {
public:
    explicit ComError(HRESULT hr) : hr_(hr) {}
    HRESULT Error() const { return hr_; }

private:
    HRESULT hr_;
};

}  // namespace kelix
