/*
 * Kelix3PexControl: read and write the tuning parameters of the PEX and KRELO
 * audio effects on one audio endpoint, through the endpoint's property store,
 * the effect's module on the audio DSP, or both.
 *
 * Usage (C or C++; the calling thread must have COM initialised):
 *
 *     wchar_t* handle = NULL;
 *     HRESULT hr = OpenPexControl(&handle, NULL);           // default render endpoint
 *     INT32 gain = -6;
 *     hr = SetPexParam(handle, KELIX_PEX_POSTGAIN, &gain, sizeof gain,
 *                      KELIX_ROUTE_PROPERTY_STORE);
 *     UINT32 size = sizeof gain;
 *     hr = GetPexParam(handle, KELIX_PEX_POSTGAIN, &gain, &size,
 *                      KELIX_ROUTE_PROPERTY_STORE);
 *     hr = ClosePexControl(handle);
 *
 * Every function returns an HRESULT. Results made by the library itself:
 * S_FALSE from OpenPexControl when the store could be opened for reading only,
 * E_INVALIDARG (0x80070057) for bad arguments or a buffer that is too small
 * (the needed size is then written back), E_NOTIMPL (0x80004001), E_FAIL
 * (0x80004005) and E_OUTOFMEMORY (0x8007000E); every other failure is passed
 * through unchanged from the system.
 */
#ifndef KELIX3PEXCONTROL_H
#define KELIX3PEXCONTROL_H

#include <windows.h>
#include <propidl.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifdef KELIX3PEXCONTROL_EXPORTS
#define KELIX3PEX_API
#else
#define KELIX3PEX_API __declspec(dllimport)
#endif

/* Route flags: bit 0 the endpoint's property store, bit 1 the DSP module.
 * Both may be given; other bits are ignored and a word without either bit
 * does nothing and succeeds. */
#define KELIX_ROUTE_PROPERTY_STORE 0x1u
#define KELIX_ROUTE_DSP            0x2u
#define KELIX_ROUTE_BOTH           0x3u

/* Opens an endpoint by its device id (IMMDevice::GetId), or the default
 * render endpoint of the console role when deviceId is NULL. On success
 * (S_OK, or S_FALSE when the store is read-only) *handle receives the handle
 * to pass to the other functions; on failure it is left unchanged. */
KELIX3PEX_API HRESULT OpenPexControl(wchar_t** handle, const wchar_t* deviceId);

/* Closes a handle. When closing fails the handle stays valid and may be
 * closed again. */
KELIX3PEX_API HRESULT ClosePexControl(wchar_t* handle);

/* Sets a parameter from a caller structure of `size` bytes: one INT32 for
 * scalars, the documented structure for array parameters. The value is not
 * const: a filter configuration (2105) above its 2044-byte capacity is
 * cleared, and its byte count in the caller's structure set to 0. */
KELIX3PEX_API HRESULT SetPexParam(wchar_t* handle, INT32 id, void* value, UINT32 size,
                                  UINT32 flags);

/* Sets a parameter from a PROPVARIANT, stored as given in the property store
 * (bit 0); the DSP route (bit 1) takes VT_I4 and VT_BLOB values. */
KELIX3PEX_API HRESULT SetPexVariantParam(wchar_t* handle, INT32 id, const PROPVARIANT* value,
                                         UINT32 flags);

/* Reads a parameter into a caller buffer. *size holds the buffer size in
 * bytes on entry and the needed or written size on return; a buffer that is
 * too small gives E_INVALIDARG with the needed size in *size. */
KELIX3PEX_API HRESULT GetPexParam(wchar_t* handle, INT32 id, void* buffer, UINT32* size,
                                  UINT32 flags);

/* Caller structures of SetPexParam and GetPexParam (all fields INT32):
 *
 *   scalars (every id not listed)   one INT32
 *   1114, 1122 ieq / graphic eq     count; a[20]; b[20]                     164 bytes
 *   1119 audio optimizer bands      count; a[20]; b[10][20]                 884 bytes
 *   1123, 1170 regulator tuning     count; a[20]; b[20]; c[20]; d[20]       324 bytes
 *   1156 partial output mode        first; n; v[n]
 *   1161 init info                  head[10]; tail[32]                      168 bytes
 *   1162 drc metadata               w[18] (NULL with size 0: all zero)       72 bytes
 *   2105 filter configuration       byte count N (at most 2044); N bytes
 *   2107 audio optimizer gains      n; v[n]
 *   2108 regulator thresholds       a[20]; b[20]                            160 bytes
 *   2109 isolated bands             a[20]                                    80 bytes
 *   2116 compressor tuning          n; n records of six INT32 (reads: at most 4 records, 100 bytes)
 *   2122 stress amount              v[8]                                     32 bytes
 *
 * Reads zero the caller's buffer first. Call GetPexParam with a NULL buffer to
 * learn the size a value needs. On the DSP route, array values are written as
 * a VT_BLOB through SetPexVariantParam; text answers (versions, module names
 * and ids) are zero-terminated UTF-16. */

/* Parameter ids. PEX ids are 1001..1998, KRELO ids 2001..2998; 3002 lies
 * outside both families and is served by the property-store route only. */
typedef enum Kelix3PexParameterId {
    KELIX_PEX_VERSION = 1001,                           /* version text of the PEX effect (GetPexParam, property-store route) */
    KELIX_PEX_BYPASS = 1002,
    KELIX_PEX_DIRECT_REQUEST = 1003,                    /* direct request to the selected DSP module (SetPexParam, 8 bytes, DSP route) */
    KELIX_PEX_FORMFACTOR = 1004,
    KELIX_PEX_BYPASS_STEREO_VIRTUALIZER = 1005,
    KELIX_PEX_MODULE_ID = 1006,                         /* DSP module id as text (GetPexParam, DSP route) */
    KELIX_PEX_MODULE_NAME = 1007,                       /* DSP module name (GetPexParam, DSP route) */
    KELIX_PEX_MODULE_TYPE = 1008,                       /* DSP module type, u32 (GetPexParam, DSP route) */
    KELIX_PEX_SYSTEM_GAIN = 1101,
    KELIX_PEX_CALIBRATION_BOOST = 1102,
    KELIX_PEX_VOLMAX_BOOST = 1103,
    KELIX_PEX_PREGAIN = 1104,
    KELIX_PEX_POSTGAIN = 1105,
    KELIX_PEX_VOLUME_MODELER_CALIBRATION = 1106,
    KELIX_PEX_VOLUME_LEVELER_OUT_TARGET = 1107,
    KELIX_PEX_VOLUME_LEVELER_IN_TARGET = 1108,
    KELIX_PEX_VOLUME_MODELER_ENABLE = 1109,
    KELIX_PEX_IEQ_ENABLE = 1110,
    KELIX_PEX_VOLUME_LEVELER_ENABLE = 1111,
    KELIX_PEX_VOLUME_LEVELER_AMOUNT = 1112,
    KELIX_PEX_IEQ_AMOUNT = 1113,
    KELIX_PEX_IEQ_BANDS = 1114,
    KELIX_PEX_BASS_ENHANCER_ENABLE = 1115,
    KELIX_PEX_BASS_ENHANCER_BOOST = 1116,
    KELIX_PEX_BASS_ENHANCER_CUTOFF_FREQUENCY = 1117,
    KELIX_PEX_BASS_ENHANCER_WIDTH = 1118,
    KELIX_PEX_AUDIO_OPTIMIZER_BANDS = 1119,
    KELIX_PEX_AUDIO_OPTIMIZER_ENABLE = 1120,
    KELIX_PEX_GRAPHIC_EQUALIZER_ENABLE = 1121,
    KELIX_PEX_GRAPHIC_EQUALIZER_BANDS = 1122,
    KELIX_PEX_REGULATOR_TUNING = 1123,
    KELIX_PEX_REGULATOR_ENABLE = 1124,
    KELIX_PEX_REGULATOR_SPEAKER_DISTORTION_ENABLE = 1125,
    KELIX_PEX_REGULATOR_RELAXATION_AMOUNT = 1126,
    KELIX_PEX_REGULATOR_TIMBRE_PRESERVATION = 1127,
    KELIX_PEX_REGULATOR_OVERDRIVE = 1128,
    KELIX_PEX_MI2IEQ_STEERING_ENABLE = 1132,
    KELIX_PEX_MI2DV_LEVELER_STEERING_ENABLE = 1133,
    KELIX_PEX_MI2DIALOG_ENHANCER_STEERING_ENABLE = 1134,
    KELIX_PEX_MI2SURROUND_COMPRESSOR_STEERING_ENABLE = 1135,
    KELIX_PEX_SURROUND_DECODER_ENABLE = 1136,
    KELIX_PEX_SURROUND_BOOST = 1137,
    KELIX_PEX_DE_DUCKING = 1138,
    KELIX_PEX_DE_AMOUNT = 1139,
    KELIX_PEX_DE_ENABLE = 1140,
    KELIX_PEX_PARTIAL_OUTPUT_MODE = 1141,               /* partial output mode (DSP route only) */
    KELIX_PEX_SURROUND_VIRTUALIZER_ENABLE = 1148,
    KELIX_PEX_MI2VIRT_STEERING_ENABLE = 1150,
    KELIX_PEX_BASS_EXTRACTION_ENABLE = 1151,
    KELIX_PEX_BASS_EXTRACTION_CUTOFF_FREQUENCY = 1152,
    KELIX_PEX_HEIGHT_FILTER_MODE = 1153,
    KELIX_PEX_TUNING_PARTIAL_OUTPUT_MODE = 1156,
    KELIX_PEX_VIRTUALIZER_FRONT_SPEAKER_ANGLE = 1157,
    KELIX_PEX_VIRTUALIZER_HEIGHT_SPEAKER_ANGLE = 1158,
    KELIX_PEX_VIRTUALIZER_SURROUND_SPEAKER_ANGLE = 1159,
    KELIX_PEX_HEIGHT_VIRTUALIZER_ENABLE = 1160,
    KELIX_PEX_INIT_INFO = 1161,
    KELIX_PEX_DRC_METADATA = 1162,
    KELIX_PEX_SURROUND_DECODER_CENTER_SPREADING_ENABLE = 1163,
    KELIX_PEX_VIRTUALIZER_REAR_SPEAKER_ANGLE = 1164,
    KELIX_PEX_VIRTUALIZER_REAR_HEIGHT_SPEAKER_ANGLE = 1165,
    KELIX_PEX_VIRTUALIZER_START_BAND = 1166,
    KELIX_PEX_REAR_HEIGHT_FILTER_MODE = 1167,
    KELIX_PEX_BASS_EXTRACTION_LFE_GAIN = 1168,
    KELIX_PEX_WOOFER_REGULATOR_TUNING = 1170,
    KELIX_PEX_WOOFER_REGULATOR_ENABLE = 1171,
    KELIX_PEX_CUSTOM_WOOFER_CHANNEL_INDEX = 1172,
    KELIX_PEX_INIT_MODE = 1173,
    KELIX_PEX_INIT_MI_PROCESS_DISABLE = 1174,
    KELIX_PEX_INIT_VIRTUAL_BASS_PROCESS_ENABLE = 1175,
    KELIX_PEX_INIT_MAX_NUM_OBJECTS = 1176,
    KELIX_KRELO_VERSION = 2001,                         /* version text of the KRELO effect (GetPexParam, property-store route) */
    KELIX_KRELO_BYPASS = 2002,
    KELIX_KRELO_DIRECT_REQUEST = 2003,                  /* direct request to the selected DSP module (SetPexParam, 8 bytes, DSP route) */
    KELIX_KRELO_MODULE_ID = 2004,                       /* DSP module id as text (GetPexParam, DSP route) */
    KELIX_KRELO_MODULE_NAME = 2005,                     /* DSP module name (GetPexParam, DSP route) */
    KELIX_KRELO_MODULE_TYPE = 2006,                     /* DSP module type, u32 (GetPexParam, DSP route) */
    KELIX_KRELO_MAX_CHANNEL_NUM = 2101,
    KELIX_KRELO_MAX_OPERATION_NUM = 2102,
    KELIX_KRELO_SYSTEM_GAIN = 2103,
    KELIX_KRELO_POST_GAIN = 2104,
    KELIX_KRELO_FILTER_CONFIG = 2105,
    KELIX_KRELO_AUDIO_OPTIMIZER_ENABLE = 2106,
    KELIX_KRELO_AUDIO_OPTIMIZER_GAINS = 2107,
    KELIX_KRELO_REGULATOR_THRESHOLDS = 2108,
    KELIX_KRELO_REGULATOR_ISOLATED_BANDS = 2109,
    KELIX_KRELO_REGULATOR_OVERDRIVE = 2110,
    KELIX_KRELO_REGULATOR_TIMBRE_PRESERVATION = 2111,
    KELIX_KRELO_REGULATOR_RELAXATION_AMOUNT = 2112,
    KELIX_KRELO_REGULATOR_SPEAKER_DISTORTION_ENABLE = 2113,
    KELIX_KRELO_PEAK_LEVEL = 2114,
    KELIX_KRELO_MB_COMPRESSOR_ENABLE = 2115,
    KELIX_KRELO_MB_COMPRESSOR_TUNING = 2116,
    KELIX_KRELO_MB_COMPRESSOR_CHANNEL_DEVIATION = 2117,
    KELIX_KRELO_MB_COMPRESSOR_AGC_ENABLE = 2118,
    KELIX_KRELO_MB_COMPRESSOR_SLOW_GAIN_ENABLE = 2119,
    KELIX_KRELO_MB_COMPRESSOR_BAND0_SLOW_GAIN_MIX_LEVEL = 2120,
    KELIX_KRELO_TARGET_POWER_LEVEL = 2121,
    KELIX_KRELO_REGULATOR_STRESS_AMOUNT = 2122,
    KELIX_KRELO_REGULATOR_DISTORTION_SLOPE = 2123,
    KELIX_KRELO_ULTRASONIC_PILOT_ENABLE = 2124,
    KELIX_KRELO_REGULATOR_TUNING_INFO = 2125,           /* regulator tuning info, 160 or 720 bytes (DSP route only) */
    KELIX_KRELO_VIS_BANDS = 2126,                       /* vis bands, 80 bytes (DSP route only) */
    KELIX_KRELO_MB_COMPRESSOR_TUNING_INFO = 2127,       /* multiband compressor tuning info, 352 bytes (DSP route only) */
    KELIX_KRELO_LIMITER_GAIN = 2128,                    /* limiter gain, 4 bytes (DSP route only) */
    KELIX_NS_BYPASS = 3002
} Kelix3PexParameterId;

#ifdef __cplusplus
}
#endif

#endif /* KELIX3PEXCONTROL_H */
