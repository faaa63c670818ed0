// The tuning of an endpoint as one self-contained HTML page: the endpoint's
// summary, every scalar and text in a table, and every band array drawn as a
// curve over its bands (inline SVG and CSS; the page fetches nothing and runs
// no script). With a second snapshot both are shown side by side, the
// curves overlaid and the values that differ marked.
//
// Band arrays: the 20-band arrays of pex_ieq_bands (1114), pex_audio_optimizer_bands
// (1119: a, and b as ten rows), pex_graphic_equalizer_bands (1122),
// pex_regulator_tuning and pex_woofer_regulator_tuning (1123, 1170),
// krelo_regulator_thresholds (2108) and, from the DSP, krelo_vis_bands (2126).
// Each array field gets one chart; each row of 20 bands one curve per
// snapshot (an SVG path of class "curve" with data-source 0 or 1).
#pragma once

#include <string>

#include "Snapshot.h"

namespace pexctl {

struct ReportSource {
    const Snapshot* snapshot = nullptr;
    std::string label;  // e.g. the file's name
};

bool IsBandArray(kelix::ParameterId id);

std::string ReportHtml(const ReportSource& main, const ReportSource* compare);

}  // namespace pexctl
