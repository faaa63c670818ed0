/*
 * Kelix3PexControl: read and write the tuning parameters of the PEX and KRELO
 * audio effects on one audio endpoint, through the endpoint's property store,
 * the effect's module on the audio DSP, or both.
 *
 * Usage (C89 or later, or C++; examples/set_and_get.c is a complete program):
 *
 *     wchar_t* handle = NULL;
 *     INT32 gain = -6;
 *     UINT32 size = sizeof gain;
 *     HRESULT hr = CoInitializeEx(NULL, COINIT_MULTITHREADED);
 *     if (SUCCEEDED(hr)) hr = OpenPexControl(&handle, NULL);   (default render endpoint)
 *     if (SUCCEEDED(hr)) hr = SetPexParam(handle, KELIX_PEX_POSTGAIN, &gain, sizeof gain,
 *                                         KELIX_ROUTE_PROPERTY_STORE);
 *     if (SUCCEEDED(hr)) hr = GetPexParam(handle, KELIX_PEX_POSTGAIN, &gain, &size,
 *                                         KELIX_ROUTE_PROPERTY_STORE);
 *     if (handle != NULL) ClosePexControl(handle);
 *
 * COM, threads and lifetime
 *   - The calling thread must have COM initialised (CoInitializeEx, either
 *     apartment); the library never initialises it. Without it every call
 *     fails with CO_E_NOTINITIALIZED (0x800401F0).
 *   - The functions may be called from any thread. One process-wide lock is
 *     held for the whole of each call, so calls run one after another, each
 *     as if it were alone; the thread that holds the lock may enter again (a
 *     call made from a window message that COM pumps while a call of the same
 *     thread waits does not deadlock). The event-tracing enable callback takes
 *     no lock.
 *   - A handle names an endpoint. Handles of one endpoint share that
 *     endpoint's state, and closing one closes the endpoint for all of them:
 *     open an endpoint once, and close it once, after its last use.
 *   - A DSP call reaches the modules of its own endpoint, whatever endpoints
 *     came or went since it was opened; when they are gone the DSP route
 *     answers E_INVALIDARG, as for a family the endpoint does not have.
 *   - Closing the last open endpoint releases everything the library holds
 *     of the devices. After a store call answered AUDCLNT_E_DEVICE_INVALIDATED
 *     (0x88890004: the device was removed) the next OpenPexControl of that id
 *     opens the device again, without a close first.
 *   - The DSP module access object is made on the first open, not at load;
 *     log text is made only when a listener (or the text sink) takes it.
 *   - No exception crosses a function: a fault of the library answers
 *     E_UNEXPECTED.
 *   - Nothing outlives the process; nothing is written to disk by the library.
 *
 * Drivers: a filter that does not answer the audio-engine descriptor request
 * does not end the search for modules (the next filter is tried). Driver
 * replies are read only as far as the byte count the driver returned, and a
 * DSP read hands over only what the driver returned for it: nothing of an
 * earlier reply. The byte counts inside the KELIX_KRELO_FILTER_CONFIG and
 * KELIX_KRELO_AUDIO_OPTIMIZER_GAINS replies are clamped to the reply. A module
 * list larger than 64,004 bytes is not read (its pin is skipped, and logged).
 *
 * Results (HRESULT). System failures come back unchanged; the library makes these:
 *   S_OK           success.
 *   S_FALSE (1)    OpenPexControl: the property store could be opened for reading only;
 *                  writes on the store route then fail with the store's own code.
 *   E_INVALIDARG   (0x80070057) a value shorter than its caller structure (nothing is
 *                  stored); a read buffer that is NULL or too small (*size then holds the
 *                  size to allocate); the family is not on the endpoint's DSP (DSP route);
 *                  the DSP does not serve the id, or the value type is neither VT_I4 nor
 *                  VT_BLOB (DSP route); a direct request without 8 bytes or bit 1.
 *   E_FAIL         (0x80004005) the property store holds no value for the id (read), the
 *                  id has no property key (store route), or the endpoint's DSP carries no
 *                  module at all / the module list is empty (DSP route).
 *   E_NOTIMPL      (0x80004001) direct request to a module reached through the AMD set.
 *   E_OUTOFMEMORY  (0x8007000E) out of memory; reading a compressor tuning
 *                  (KELIX_KRELO_MB_COMPRESSOR_TUNING) that holds more than 4 records.
 *   0x80070490     (element not found) from OpenPexControl(NULL) when there is no
 *                  active render endpoint (the lookup's own code).
 *
 * Reads: *size holds the buffer's size in bytes on entry and the size written
 * (or needed) on return; a buffer that is too small, or NULL, gives E_INVALIDARG
 * and the needed size; no read writes beyond *size bytes. Store-route reads
 * zero the caller's buffer (*size bytes) first; DSP-route reads write only the
 * bytes they copy. One exception to the rule above, kept as the DSP route has
 * always answered: a one-INT32 id whose module replies with other than 4 bytes
 * (for instance after a VT_BLOB of another length was written to it) copies
 * nothing and answers S_OK with *size = the reply's length, whatever the buffer.
 *
 * Text answers (zero-terminated UTF-16): the effect version (KELIX_PEX_VERSION,
 * KELIX_KRELO_VERSION on the store route, e.g. L"pex2.10", L"krelo1.4"), the
 * module version (the same ids on the DSP route, e.g. L"2.10.0-lite"), module
 * name and module id (e.g. L"{d11b4f61-42fa-43bb-997c-8d2b026d11c8}").
 * For a text of L characters the buffer needs 2L + 2 bytes; with less (or NULL)
 * the result is E_INVALIDARG and *size = 2L + 2, the size to allocate. On
 * success *size is 2L for a version on the store route (the text without its
 * terminator; an empty version needs 2 bytes and gives 0) and 2L + 2 on the DSP route.
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

/* Opens an endpoint by its device id (IMMDevice::GetId, e.g.
 * L"{0.0.0.00000000}.{6b1d7c40-...}"), or the default render endpoint of the
 * console role when deviceId is NULL. On success (S_OK, or S_FALSE when the
 * store is read-only) *handle receives the handle to pass to the other
 * functions; on failure it is left unchanged. An endpoint without DSP modules
 * still opens; its DSP route then answers E_INVALIDARG. */
KELIX3PEX_API HRESULT OpenPexControl(wchar_t** handle, const wchar_t* deviceId);

/* Closes a handle, and with it the endpoint for every handle of that
 * endpoint. When closing fails the handle stays valid and may be closed again. */
KELIX3PEX_API HRESULT ClosePexControl(wchar_t* handle);

/* Sets a parameter from a caller structure of `size` bytes: one INT32 for
 * scalars, the structures below for array parameters. The property store
 * receives a VT_I4 or an INT32 vector; the DSP route takes scalars only here
 * (write arrays there as a VT_BLOB with SetPexVariantParam). With both route
 * bits the DSP result is returned, even when the store write failed: give one
 * bit per call to learn both. The value is not const: a filter configuration
 * (2105) above its capacity is cleared, and its byte count set to 0. */
KELIX3PEX_API HRESULT SetPexParam(wchar_t* handle, INT32 id, void* value, UINT32 size,
                                  UINT32 flags);

/* Sets a parameter from a PROPVARIANT, stored as given in the property store
 * (bit 0; some stores take only VT_UI4 scalars); the DSP route (bit 1) takes
 * VT_I4 scalars and VT_BLOB arrays in the DSP blob layouts below. */
KELIX3PEX_API HRESULT SetPexVariantParam(wchar_t* handle, INT32 id, const PROPVARIANT* value,
                                         UINT32 flags);

/* Reads a parameter into a caller buffer. *size holds the buffer size in
 * bytes on entry and the needed or written size on return; a buffer that is
 * NULL or too small gives E_INVALIDARG with the needed size in *size (call
 * with NULL to learn it). With both route bits the buffer is filled twice,
 * the DSP value last. */
KELIX3PEX_API HRESULT GetPexParam(wchar_t* handle, INT32 id, void* buffer, UINT32* size,
                                  UINT32 flags);

/* Caller structures of SetPexParam and GetPexParam, one per array parameter
 * (all fields little-endian INT32 unless noted; every id not listed is one
 * INT32). docs/parameters.md lists every parameter with its structure, size
 * and routes.
 *
 * SetPexParam reads no byte beyond `size`. A size shorter than the layout
 * (fixed layouts: the whole structure; counted layouts: header + the counted
 * items; scalars: 4 bytes) gives E_INVALIDARG, stores nothing and leaves the
 * caller's buffer as it was. A longer size is fine. */

/* KELIX_PEX_IEQ_BANDS (1114), KELIX_PEX_GRAPHIC_EQUALIZER_BANDS (1122): 164 bytes. */
typedef struct KelixPexBands {
    INT32 count;
    INT32 a[20];
    INT32 b[20];
} KelixPexBands;

/* KELIX_PEX_AUDIO_OPTIMIZER_BANDS (1119): 884 bytes. */
typedef struct KelixPexAudioOptimizerBands {
    INT32 count;
    INT32 a[20];
    INT32 b[10][20];
} KelixPexAudioOptimizerBands;

/* KELIX_PEX_REGULATOR_TUNING (1123), KELIX_PEX_WOOFER_REGULATOR_TUNING (1170): 324 bytes. */
typedef struct KelixPexRegulatorTuning {
    INT32 count;
    INT32 a[20];
    INT32 b[20];
    INT32 c[20];
    INT32 d[20];
} KelixPexRegulatorTuning;

/* KELIX_PEX_TUNING_PARTIAL_OUTPUT_MODE (1156, store route) and
 * KELIX_PEX_PARTIAL_OUTPUT_MODE (1141, DSP route): this header, then n INT32
 * values; KELIX_PARTIAL_OUTPUT_MODE_SIZE(n) bytes in all. */
typedef struct KelixPexPartialOutputMode {
    INT32 first;
    INT32 n;
} KelixPexPartialOutputMode;
#define KELIX_PARTIAL_OUTPUT_MODE_SIZE(n) (8u + 4u * (UINT32)(n))

/* KELIX_PEX_INIT_INFO (1161): 168 bytes. */
typedef struct KelixPexInitInfo {
    INT32 head[10];
    INT32 tail[32];
} KelixPexInitInfo;

/* KELIX_PEX_DRC_METADATA (1162): 72 bytes. SetPexParam with a NULL value or
 * size 0 stores 18 zeros. */
typedef struct KelixPexDrcMetadata {
    INT32 w[18];
} KelixPexDrcMetadata;

/* KELIX_KRELO_FILTER_CONFIG (2105): a byte count, then that many bytes of
 * data; pass KELIX_FILTER_CONFIG_SIZE(size) bytes (or the whole structure).
 * The byte count is unsigned: above KELIX_FILTER_CONFIG_CAPACITY the
 * configuration is cleared (an empty one is stored and the caller's size
 * field is set to 0). */
#define KELIX_FILTER_CONFIG_CAPACITY 2044u
typedef struct KelixKreloFilterConfig {
    UINT32 size;
    BYTE data[2044];
} KelixKreloFilterConfig;
#define KELIX_FILTER_CONFIG_SIZE(size) (4u + (UINT32)(size))

/* KELIX_KRELO_AUDIO_OPTIMIZER_GAINS (2107): this header, then n INT32 values;
 * KELIX_AUDIO_OPTIMIZER_GAINS_SIZE(n) bytes in all. */
typedef struct KelixKreloAudioOptimizerGains {
    INT32 n;
} KelixKreloAudioOptimizerGains;
#define KELIX_AUDIO_OPTIMIZER_GAINS_SIZE(n) (4u + 4u * (UINT32)(n))

/* KELIX_KRELO_REGULATOR_THRESHOLDS (2108): 160 bytes. */
typedef struct KelixKreloRegulatorThresholds {
    INT32 a[20];
    INT32 b[20];
} KelixKreloRegulatorThresholds;

/* KELIX_KRELO_REGULATOR_ISOLATED_BANDS (2109): 80 bytes. */
typedef struct KelixKreloRegulatorIsolatedBands {
    INT32 a[20];
} KelixKreloRegulatorIsolatedBands;

/* KELIX_KRELO_MB_COMPRESSOR_TUNING (2116): a record count n, then n records
 * of six values (KELIX_MB_COMPRESSOR_TUNING_SIZE(n) bytes). Reads take this
 * 100-byte structure: at most 4 records (more give E_OUTOFMEMORY). */
typedef struct KelixKreloMbCompressorRecord {
    INT32 v[6];
} KelixKreloMbCompressorRecord;
typedef struct KelixKreloMbCompressorTuning {
    INT32 n;
    KelixKreloMbCompressorRecord records[4];
} KelixKreloMbCompressorTuning;
#define KELIX_MB_COMPRESSOR_TUNING_SIZE(n) (4u + 24u * (UINT32)(n))

/* KELIX_KRELO_REGULATOR_STRESS_AMOUNT (2122): 32 bytes. */
typedef struct KelixKreloRegulatorStressAmount {
    INT32 v[8];
} KelixKreloRegulatorStressAmount;

/* Information blocks the DSP answers (DSP route, read only): the regulator
 * tuning info (2125) is 160 bytes on modules before 1.4.1 and 720 from it on,
 * the vis bands (2126) 80 bytes, the compressor tuning info (2127) 352 bytes,
 * the limiter gain (2128) one INT32. */
typedef struct KelixKreloVisBands {
    INT32 v[20];
} KelixKreloVisBands;
typedef struct KelixKreloMbCompressorTuningInfo {
    INT32 v[88];
} KelixKreloMbCompressorTuningInfo;

/* DSP blobs. On the DSP route an array parameter is written as a VT_BLOB
 * through SetPexVariantParam; the blob is the module's own layout of the
 * caller structure: the structure with a length word before each array,
 * except 1141 (a word count, then the caller structure). A read on the DSP
 * route gives the caller structure above back, so a client reads back what
 * it wrote. Blobs of 1162 (KelixPexDrcMetadata), 2105
 * (KelixKreloFilterConfig, exactly 4 + size bytes) and 2107
 * (KelixKreloAudioOptimizerGains and its values) are the caller structure
 * itself. */

/* 1114: 172 bytes; lengthA = lengthB = 20. */
typedef struct KelixDspPexBands {
    INT32 count;
    INT32 lengthA;
    INT32 a[20];
    INT32 lengthB;
    INT32 b[20];
} KelixDspPexBands;

/* 1123: 340 bytes; every length word is 20. */
typedef struct KelixDspPexRegulatorTuning {
    INT32 count;
    INT32 lengthA;
    INT32 a[20];
    INT32 lengthB;
    INT32 b[20];
    INT32 lengthC;
    INT32 c[20];
    INT32 lengthD;
    INT32 d[20];
} KelixDspPexRegulatorTuning;

/* 1141: this header (words = n + 2), then n INT32 values; 12 + 4n bytes. */
typedef struct KelixDspPexPartialOutputMode {
    INT32 words;
    INT32 first;
    INT32 n;
} KelixDspPexPartialOutputMode;

/* 2108: 168 bytes; lengthA = lengthB = 20. */
typedef struct KelixDspKreloRegulatorThresholds {
    INT32 lengthA;
    INT32 a[20];
    INT32 lengthB;
    INT32 b[20];
} KelixDspKreloRegulatorThresholds;

/* 2109: 84 bytes; length = 20. */
typedef struct KelixDspKreloRegulatorIsolatedBands {
    INT32 length;
    INT32 a[20];
} KelixDspKreloRegulatorIsolatedBands;

/* 2116: the record count n, then n of these records (length = 6); 4 + 28n bytes. */
typedef struct KelixDspKreloMbCompressorRecord {
    INT32 length;
    INT32 v[6];
} KelixDspKreloMbCompressorRecord;

/* 2122: 36 bytes; length = 8. */
typedef struct KelixDspKreloRegulatorStressAmount {
    INT32 length;
    INT32 v[8];
} KelixDspKreloRegulatorStressAmount;

/* Sizes, checked by C11 and C++ compilers (and by a typedef trick in C89). */
#if defined(__cplusplus) && __cplusplus >= 201103L
#define KELIX_SIZE_CHECK(type, bytes) static_assert(sizeof(type) == (bytes), #type " is " #bytes " bytes")
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define KELIX_SIZE_CHECK(type, bytes) _Static_assert(sizeof(type) == (bytes), #type " is " #bytes " bytes")
#else
#define KELIX_SIZE_CHECK(type, bytes) typedef char kelix_size_check_##type[sizeof(type) == (bytes) ? 1 : -1]
#endif
KELIX_SIZE_CHECK(KelixPexBands, 164);
KELIX_SIZE_CHECK(KelixPexAudioOptimizerBands, 884);
KELIX_SIZE_CHECK(KelixPexRegulatorTuning, 324);
KELIX_SIZE_CHECK(KelixPexPartialOutputMode, 8);
KELIX_SIZE_CHECK(KelixPexInitInfo, 168);
KELIX_SIZE_CHECK(KelixPexDrcMetadata, 72);
KELIX_SIZE_CHECK(KelixKreloFilterConfig, 2048);
KELIX_SIZE_CHECK(KelixKreloAudioOptimizerGains, 4);
KELIX_SIZE_CHECK(KelixKreloRegulatorThresholds, 160);
KELIX_SIZE_CHECK(KelixKreloRegulatorIsolatedBands, 80);
KELIX_SIZE_CHECK(KelixKreloMbCompressorRecord, 24);
KELIX_SIZE_CHECK(KelixKreloMbCompressorTuning, 100);
KELIX_SIZE_CHECK(KelixKreloRegulatorStressAmount, 32);
KELIX_SIZE_CHECK(KelixKreloVisBands, 80);
KELIX_SIZE_CHECK(KelixKreloMbCompressorTuningInfo, 352);
KELIX_SIZE_CHECK(KelixDspPexBands, 172);
KELIX_SIZE_CHECK(KelixDspPexRegulatorTuning, 340);
KELIX_SIZE_CHECK(KelixDspPexPartialOutputMode, 12);
KELIX_SIZE_CHECK(KelixDspKreloRegulatorThresholds, 168);
KELIX_SIZE_CHECK(KelixDspKreloRegulatorIsolatedBands, 84);
KELIX_SIZE_CHECK(KelixDspKreloMbCompressorRecord, 28);
KELIX_SIZE_CHECK(KelixDspKreloRegulatorStressAmount, 36);

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
