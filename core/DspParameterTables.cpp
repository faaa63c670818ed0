#include "core/DspParameterTables.h"

#include <map>

namespace kelix {
namespace {

const std::map<ParameterId, DspRoute>& RouteTable() {
    static const std::map<ParameterId, DspRoute> table{
        // PEX, DSP indices from 120. The bypass carries index 0: it becomes a module
        // enable, never a parameter. 1005 lies one past its version's list, on purpose.
        {1002, {0, L"pex_nelp-bypass"}},
        {1104, {121, L"pex_nelp-pregain"}},
        {1105, {122, L"pex_nelp-postgain"}},
        {1101, {123, L"pex_nelp-system-gain"}},
        {1102, {124, L"pex_nelp-calibration-boost"}},
        {1136, {125, L"pex_nelp-surround-decoder-enable"}},
        {1163, {126, L"pex_nelp-surround-decoder-center-spreading-enable"}},
        {1157, {131, L"pex_nelp-virtualizer-front-speaker-angle"}},
        {1159, {132, L"pex_nelp-virtualizer-surround-speaker-angle"}},
        {1158, {133, L"pex_nelp-virtualizer-height-speaker-angle"}},
        {1166, {134, L"pex_nelp-virtualizer-start-band"}},
        {1137, {135, L"pex_nelp-surround-boost"}},
        {1112, {136, L"pex_nelp-volume-leveler-amount"}},
        {1108, {137, L"pex_nelp-volume-leveler-in-target"}},
        {1107, {138, L"pex_nelp-volume-leveler-out-target"}},
        {1111, {139, L"pex_nelp-volume-leveler-enable"}},
        {1106, {140, L"pex_nelp-volume-modeler-calibration"}},
        {1109, {141, L"pex_nelp-volume-modeler-enable"}},
        {1110, {143, L"pex_nelp-ieq-enable"}},
        {1113, {144, L"pex_nelp-ieq-amount"}},
        {1140, {145, L"pex_nelp-dialog-enhancer-enable"}},
        {1139, {146, L"pex_nelp-dialog-enhancer-amount"}},
        {1138, {147, L"pex_nelp-dialog-enhancer-ducking"}},
        {1103, {148, L"pex_nelp-volmax-boost"}},
        {1153, {149, L"pex_nelp-height-filter-mode"}},
        {1151, {150, L"pex_nelp-bass-extraction-enable"}},
        {1152, {151, L"pex_nelp-bass-extraction-cutoff-frequency"}},
        {1168, {152, L"pex_nelp-bass-extraction-lfe-gain"}},
        {1128, {154, L"pex_nelp-regulator-overdrive"}},
        {1127, {155, L"pex_nelp-regulator-timbre-preservation"}},
        {1126, {156, L"pex_nelp-regulator-relaxation-amount"}},
        {1125, {157, L"pex_nelp-regulator-speaker-distortion-enable"}},
        {1124, {158, L"pex_nelp-regulator-enable"}},
        {1148, {128, L"pex_nelp-surround-virtualizer-enable"}},
        {1160, {129, L"pex_nelp-height-virtualizer-enable"}},
        {1004, {127, L"pex_nelp-endpoint-form-facotr"}},
        {1162, {120, L"pex_nelp-drc-metadata"}},
        {1114, {142, L"pex_nelp-ieq-bands"}},
        {1123, {153, L"pex_nelp-regulator-tuning"}},
        {1141, {130, L"pex_nelp-partial-output-mode"}},
        {1005, {160, L"pex_nelp-bypass-stereo-virtualizer"}},
        // KRELO, DSP indices from 20.
        {2002, {0, L"krelo-bypass"}},
        {2103, {20, L"krelo-system-gain"}},
        {2104, {21, L"krelo-post-gain"}},
        {2106, {22, L"krelo-audio-optimizer-enable"}},
        {2110, {25, L"krelo-regulator-overdrive"}},
        {2112, {27, L"krelo-regulator-relaxation-amount"}},
        {2113, {24, L"krelo-regulator-speaker-distortion-enable"}},
        {2111, {28, L"krelo-regulator-timbre-preservation"}},
        {2114, {33, L"krelo-peak-level"}},
        {2107, {23, L"krelo-audio-optimizer-bands"}},
        {2109, {29, L"krelo-regulator-isolated-bands"}},
        {2108, {26, L"krelo-regulator-thresholds"}},
        {2105, {32, L"krelo-filter-coefficient-values"}},
        {2115, {35, L"krelo-mb-compressor-enable"}},
        {2116, {36, L"krelo-mb-compressor-tuning"}},
        {2117, {37, L"krelo-mb-compressor-channel-deviation"}},
        {2118, {38, L"krelo-mb-compressor-agc-enable"}},
        {2119, {39, L"krelo-mb-compressor-slow-gain-enable"}},
        {2120, {40, L"krelo-mb-compressor-band0-slow-gain-mix-level"}},
        {2121, {34, L"krelo-mb-compressor-target-power-level"}},
        {2122, {43, L"krelo-regulator-stress-amount"}},
        {2123, {44, L"krelo-regulator-distortion-slope"}},
        {2124, {45, L"krelo-ultrasonic-pilot-enable"}},
        {2125, {30, L"krelo-regulator-tuning-info"}},
        {2126, {31, L"krelo-vis-bands"}},
        {2127, {41, L"krelo-mb-compressor-tuning-info"}},
        {2128, {42, L"krelo-limiter-gain"}},
    };
    return table;
}

// Entry k names DSP parameter index base + k. "mb_compressor_agc_enable " ends in a blank.
const std::vector<std::wstring> kFullKreloList = {
    L"system_gain", L"postgain", L"audio_optimizer_enable", L"audio_optimizer_gains",
    L"regulator_speaker_distortion_enable", L"regulator_overdrive", L"regulator_thresholds",
    L"regulator_relaxation_amount", L"regulator_timbre_preservation", L"regulator_isolated_bands",
    L"regulator_tuning_info", L"vis_bands", L"filter_config", L"peak_level", L"target_power_level",
    L"mb_compressor_enable", L"mb_compressor_tuning", L"mb_compressor_channel_deviation",
    L"mb_compressor_agc_enable ", L"mb_compressor_slow_gain_enable",
    L"mb_compressor_band0_slow_gain_mix_level", L"mb_compressor_tuning_info", L"mb_compressor_limiter_gain",
    L"regulator_stress_amount", L"regulator_distortion_slope", L"ultrasonic_pilot_enable",
};
// Index 32 is "latency" on early modules and "filter_config" on later ones.
const std::vector<std::wstring> kEarlyKreloList = {
    L"system_gain", L"postgain", L"audio_optimizer_enable", L"audio_optimizer_gains",
    L"regulator_speaker_distortion_enable", L"regulator_overdrive", L"regulator_thresholds",
    L"regulator_relaxation_amount", L"regulator_timbre_preservation", L"regulator_isolated_bands",
    L"regulator_tuning_info", L"vis_bands", L"latency",
};
const std::vector<std::wstring> kPexList = {
    L"drc_metadata", L"pregain", L"postgain", L"system_gain", L"calibration_boost", L"surround_decoder_enable",
    L"surround_decoder_center_spreading_enable", L"endpoint_formfactor", L"surround_virtualizer_enable",
    L"height_virtualizer_enable", L"partial_output_mode", L"virtualizer_front_speaker_angle",
    L"virtualizer_surround_speaker_angle", L"virtualizer_height_speaker_angle", L"virtualizer_start_band",
    L"surround_boost", L"volume_leveler_amount", L"volume_leveler_in_target", L"volume_leveler_out_target",
    L"volume_leveler_enable", L"volume_modeler_calibration", L"volume_modeler_enable", L"ieq_bands",
    L"ieq_enable", L"ieq_amount", L"dialog_enhancer_enable", L"dialog_enhancer_amount",
    L"dialog_enhancer_ducking", L"dialog_volmax_boost", L"height_filter_mode", L"bass_extraction_enable",
    L"bass_extraction_cutoff_frequency", L"bass_extraction_lfe_gain", L"regulator_tuning",
    L"regulator_overdrive", L"regulator_timbre_preservation", L"regulator_relaxation_amount",
    L"regulator_speaker_distortion_enable", L"regulator_enable", L"regulator_tuning_info",
};
// Built after the full list, as a copy of its first fourteen entries.
const std::vector<std::wstring> kShortKreloList(kFullKreloList.begin(), kFullKreloList.begin() + 14);

const std::wstring kInitInfoNames[kInitInfoCount] = {
    L"block_size", L"sample_rate", L"pcm_wdsz", L"interleaved_mode", L"num_channels", L"max_num_channels",
    L"filter_config",
};

constexpr std::int32_t kKreloBase = 20;
constexpr std::int32_t kPexBase = 120;

}  // namespace

std::optional<DspRoute> LookupDspRoute(ParameterId id) {
    const auto& table = RouteTable();
    const auto found = table.find(id);
    if (found == table.end()) return std::nullopt;
    return found->second;
}

std::size_t DspRouteCount() { return RouteTable().size(); }

VersionList SelectVersionList(std::wstring_view moduleVersion) {
    if (moduleVersion.starts_with(L"1.4.2")) return {&kFullKreloList, kKreloBase};
    if (moduleVersion.starts_with(L"1.3.1")) return {&kShortKreloList, kKreloBase};
    if (moduleVersion.starts_with(L"2.10")) return {&kPexList, kPexBase};
    return {&kEarlyKreloList, kKreloBase};
}

const std::wstring& InitInfoName(std::uint32_t index) { return kInitInfoNames[index]; }

bool IsIndexInList(std::int32_t index, const VersionList& list) {
    const std::uint64_t offset = static_cast<std::uint32_t>(index) - static_cast<std::uint32_t>(list.base);
    return offset <= static_cast<std::uint64_t>(list.names->size()) - 1;
}

}  // namespace kelix
