/* The public header compiled as C, as a C client includes it. */
#include "Kelix3PexControl.h"

typedef HRESULT (*OpenFunction)(wchar_t**, const wchar_t*);
typedef HRESULT (*SetFunction)(wchar_t*, INT32, void*, UINT32, UINT32);
typedef HRESULT (*SetVariantFunction)(wchar_t*, INT32, const PROPVARIANT*, UINT32);
typedef HRESULT (*GetFunction)(wchar_t*, INT32, void*, UINT32*, UINT32);

/* Values as a C translation unit sees them, compared with the C++ view by the tests. */
const int kHeaderFromC[] = {
    KELIX_ROUTE_PROPERTY_STORE, KELIX_ROUTE_DSP, KELIX_ROUTE_BOTH, KELIX_PEX_VERSION, KELIX_PEX_POSTGAIN,
    KELIX_KRELO_POST_GAIN,      KELIX_NS_BYPASS, (int)sizeof(Kelix3PexParameterId),
};

/* The prototypes have the types a C client expects. */
const OpenFunction kOpen = &OpenPexControl;
const SetFunction kSet = &SetPexParam;
const SetVariantFunction kSetVariant = &SetPexVariantParam;
const GetFunction kGet = &GetPexParam;
