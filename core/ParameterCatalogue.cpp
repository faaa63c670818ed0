#include "core/ParameterCatalogue.h"

#include <iterator>

namespace kelix {
namespace {

struct CatalogueRow {
    ParameterId id;
    PropertyKey key;
    const wchar_t* name;
};

// The property keys are fixed by the effect that reads the endpoint store; the
// pids follow no single rule and are kept row by row.
constexpr CatalogueRow kRows[] = {
    {1002, {kFmtidPexBypass, 3201}, L"pex_bypass"},
    {1004, {kFmtidPexFormFactor, 0}, L"pex_formfactor"},
    {1005, {kFmtidPexVirtualizerBypass, 1}, L"pex_bypass_stereo_virtualizer"},
    {1101, {kFmtidPexTuning, 0}, L"pex_system_gain"},
    {1102, {kFmtidPexTuning, 1}, L"pex_calibration_boost"},
    {1103, {kFmtidPexTuning, 2}, L"pex_volmax_boost"},
    {1104, {kFmtidPexTuning, 3}, L"pex_pregain"},
    {1105, {kFmtidPexTuning, 4}, L"pex_postgain"},
    {1106, {kFmtidPexTuning, 5}, L"pex_volume_modeler_calibration"},
    {1107, {kFmtidPexTuning, 6}, L"pex_volume_leveler_out_target"},
    {1108, {kFmtidPexTuning, 7}, L"pex_volume_leveler_in_target"},
    {1109, {kFmtidPexTuning, 8}, L"pex_volume_modeler_enable"},
    {1110, {kFmtidPexTuning, 9}, L"pex_ieq_enable"},
    {1111, {kFmtidPexTuning, 10}, L"pex_volume_leveler_enable"},
    {1112, {kFmtidPexTuning, 11}, L"pex_volume_leveler_amount"},
    {1113, {kFmtidPexTuning, 12}, L"pex_ieq_amount"},
    {1114, {kFmtidPexTuning, 13}, L"pex_ieq_bands"},
    {1115, {kFmtidPexTuning, 14}, L"pex_bass_enhancer_enable"},
    {1116, {kFmtidPexTuning, 15}, L"pex_bass_enhancer_boost"},
    {1117, {kFmtidPexTuning, 16}, L"pex_bass_enhancer_cutoff_frequency"},
    {1118, {kFmtidPexTuning, 17}, L"pex_bass_enhancer_width"},
    {1119, {kFmtidPexTuning, 18}, L"pex_audio_optimizer_bands"},
    {1120, {kFmtidPexTuning, 19}, L"pex_audio_optimizer_enable"},
    {1121, {kFmtidPexTuning, 20}, L"pex_graphic_equalizer_enable"},
    {1122, {kFmtidPexTuning, 21}, L"pex_graphic_equalizer_bands"},
    {1123, {kFmtidPexTuning, 22}, L"pex_regulator_tuning"},
    {1124, {kFmtidPexTuning, 23}, L"pex_regulator_enable"},
    {1125, {kFmtidPexTuning, 24}, L"pex_regulator_speaker_distortion_enable"},
    {1126, {kFmtidPexTuning, 25}, L"pex_regulator_relaxation_amount"},
    {1127, {kFmtidPexTuning, 26}, L"pex_regulator_timbre_preservation"},
    {1128, {kFmtidPexTuning, 27}, L"pex_regulator_overdrive"},
    {1132, {kFmtidPexTuning, 31}, L"pex_mi2ieq_steering_enable"},
    {1133, {kFmtidPexTuning, 32}, L"pex_mi2dv_leveler_steering_enable"},
    {1134, {kFmtidPexTuning, 33}, L"pex_mi2dialog_enhancer_steering_enable"},
    {1135, {kFmtidPexTuning, 34}, L"pex_mi2surround_compressor_steering_enable"},
    {1136, {kFmtidPexTuning, 35}, L"pex_surround_decoder_enable"},
    {1137, {kFmtidPexTuning, 36}, L"pex_surround_boost"},
    {1138, {kFmtidPexTuning, 37}, L"pex_de_ducking"},
    {1139, {kFmtidPexTuning, 38}, L"pex_de_amount"},
    {1140, {kFmtidPexTuning, 39}, L"pex_de_enable"},
    {1148, {kFmtidPexTuning, 47}, L"pex_surround_virtualizer_enable"},
    {1150, {kFmtidPexTuning, 49}, L"pex_mi2virt_steering_enable"},
    {1151, {kFmtidPexTuning, 50}, L"pex_bass_extraction_enable"},
    {1152, {kFmtidPexTuning, 51}, L"pex_bass_extraction_cutoff_frequency"},
    {1153, {kFmtidPexTuning, 52}, L"pex_height_filter_mode"},
    {1156, {kFmtidPexTuning, 55}, L"pex_tuning_partial_output_mode"},
    {1157, {kFmtidPexTuning, 56}, L"pex_virtualizer_front_speaker_angle"},
    {1158, {kFmtidPexTuning, 57}, L"pex_virtualizer_height_speaker_angle"},
    {1159, {kFmtidPexTuning, 58}, L"pex_virtualizer_surround_speaker_angle"},
    {1160, {kFmtidPexTuning, 59}, L"pex_height_virtualizer_enable"},
    {1161, {kFmtidPexTuning, 64}, L"pex_init_info"},
    {1162, {kFmtidPexTuning, 65}, L"pex_drc_metadata"},
    {1163, {kFmtidPexTuning, 66}, L"pex_surround_decoder_center_spreading_enable"},
    {1164, {kFmtidPexTuning, 67}, L"pex_virtualizer_rear_speaker_angle"},
    {1165, {kFmtidPexTuning, 68}, L"pex_virtualizer_rear_height_speaker_angle"},
    {1166, {kFmtidPexTuning, 69}, L"pex_virtualizer_start_band"},
    {1167, {kFmtidPexTuning, 70}, L"pex_rear_height_filter_mode"},
    {1168, {kFmtidPexTuning, 71}, L"pex_bass_extraction_lfe_gain"},
    {1170, {kFmtidPexTuning, 73}, L"pex_woofer_regulator_tuning"},
    {1171, {kFmtidPexTuning, 74}, L"pex_woofer_regulator_enable"},
    {1172, {kFmtidPexTuning, 75}, L"pex_custom_woofer_channel_index"},
    {1173, {kFmtidPexTuning, 60}, L"pex_init_mode"},
    {1174, {kFmtidPexTuning, 61}, L"pex_init_mi_process_disable"},
    {1175, {kFmtidPexTuning, 62}, L"pex_init_virtual_bass_process_enable"},
    {1176, {kFmtidPexTuning, 63}, L"pex_init_max_num_objects"},
    {2002, {kFmtidKreloTuning, 0}, L"krelo_bypass"},
    {2101, {kFmtidKreloTuning, 1}, L"krelo_max_channel_num"},
    {2102, {kFmtidKreloTuning, 2}, L"krelo_max_operation_num"},
    {2103, {kFmtidKreloTuning, 3}, L"krelo_system_gain"},
    {2104, {kFmtidKreloTuning, 4}, L"krelo_post_gain"},
    {2105, {kFmtidKreloTuning, 5}, L"krelo_filter_config"},
    {2106, {kFmtidKreloTuning, 6}, L"krelo_audio_optimizer_enable"},
    {2107, {kFmtidKreloTuning, 7}, L"krelo_audio_optimizer_gains"},
    {2108, {kFmtidKreloTuning, 8}, L"krelo_regulator_thresholds"},
    {2109, {kFmtidKreloTuning, 9}, L"krelo_regulator_isolated_bands"},
    {2110, {kFmtidKreloTuning, 10}, L"krelo_regulator_overdrive"},
    {2111, {kFmtidKreloTuning, 11}, L"krelo_regulator_timbre_preservation"},
    {2112, {kFmtidKreloTuning, 12}, L"krelo_regulator_relaxation_amount"},
    {2113, {kFmtidKreloTuning, 13}, L"krelo_regulator_speaker_distortion_enable"},
    {2114, {kFmtidKreloTuning, 14}, L"krelo_peak_level"},
    {2115, {kFmtidKreloTuning, 16}, L"krelo_mb_compressor_enable"},
    {2116, {kFmtidKreloTuning, 17}, L"krelo_mb_compressor_tuning"},
    {2117, {kFmtidKreloTuning, 18}, L"krelo_mb_compressor_channel_deviation"},
    {2118, {kFmtidKreloTuning, 19}, L"krelo_mb_compressor_agc_enable"},
    {2119, {kFmtidKreloTuning, 20}, L"krelo_mb_compressor_slow_gain_enable"},
    {2120, {kFmtidKreloTuning, 21}, L"krelo_mb_compressor_band0_slow_gain_mix_level"},
    {2121, {kFmtidKreloTuning, 15}, L"krelo_target_power_level"},
    {2122, {kFmtidKreloTuning, 22}, L"krelo_regulator_stress_amount"},
    {2123, {kFmtidKreloTuning, 23}, L"krelo_regulator_distortion_slope"},
    {2124, {kFmtidKreloTuning, 24}, L"krelo_ultrasonic_pilot_enable"},
    {3002, {kFmtidNsBypass, 0}, L"ns_bypass"},
};

std::map<ParameterId, ParameterInfo> BuildCatalogue() {
    std::map<ParameterId, ParameterInfo> catalogue;
    for (const CatalogueRow& row : kRows) {
        catalogue.emplace(row.id, ParameterInfo{row.key, row.name});
    }
    return catalogue;
}

}  // namespace

const std::map<ParameterId, ParameterInfo>& ParameterCatalogue() {
    static const std::map<ParameterId, ParameterInfo> catalogue = BuildCatalogue();
    return catalogue;
}

ParameterLookup LookupParameter(ParameterId id) {
    const auto& catalogue = ParameterCatalogue();
    const auto row = catalogue.find(id);
    if (row == catalogue.end()) return ParameterLookup{};
    return ParameterLookup{row->second.name, row->second.key, true};
}

}  // namespace kelix
