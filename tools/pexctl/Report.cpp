#include "Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <set>
#include <utility>

namespace pexctl {
namespace {

using kelix::ParameterDescription;
using kelix::ValueKind;

constexpr kelix::ParameterId kBandArrays[] = {1114, 1119, 1122, 1123, 1170, 2108, 2126};
constexpr std::size_t kBands = 20;  // bands of one row

// Chart geometry, in SVG units.
constexpr double kWidth = 340, kHeight = 200;
constexpr double kLeft = 58, kRight = 12, kTop = 14, kBottom = 40;

constexpr const char* kStyle = R"(
body { font: 14px/1.4 system-ui, sans-serif; margin: 24px; color: #1d232b; background: #fff; }
h1 { font-size: 22px; margin: 0 0 4px; } h2 { font-size: 17px; margin: 28px 0 8px; border-bottom: 1px solid #d5dae1; }
table { border-collapse: collapse; } td, th { padding: 3px 10px; text-align: left; border-bottom: 1px solid #eceff3; }
th { background: #f3f5f8; font-weight: 600; } td.number { text-align: right; font-variant-numeric: tabular-nums; }
tr.differs td { background: #fff4e0; } .muted { color: #6a7380; }
.legend span { display: inline-block; margin-right: 18px; } .swatch { width: 22px; height: 3px; vertical-align: middle; margin-right: 6px; }
.source0 { background: #1f6feb; } .source1 { background: #d9480f; }
.charts { display: grid; grid-template-columns: repeat(auto-fill, minmax(350px, 1fr)); gap: 14px; }
figure { margin: 0; border: 1px solid #e1e5ea; border-radius: 6px; padding: 6px 6px 2px; }
figcaption { font-size: 13px; font-weight: 600; margin: 0 0 2px 4px; }
svg { width: 100%; height: auto; display: block; }
.axis { stroke: #56606c; stroke-width: 1; } .grid { stroke: #e6e9ee; stroke-width: 1; }
.tick { font-size: 10px; fill: #56606c; } .title { font-size: 11px; fill: #1d232b; }
path.curve { fill: none; stroke-width: 2; stroke-linejoin: round; }
path.curve[data-source="0"] { stroke: #1f6feb; } path.curve[data-source="1"] { stroke: #d9480f; stroke-dasharray: 5 3; }
path.curve.row { stroke-width: 1.3; }
pre { margin: 0; font-size: 12px; white-space: pre-wrap; word-break: break-all; }
)";

std::string Escape(std::string_view text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&#39;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

std::string ValueText(const Json& value) {
    if (value.is_null()) return "";
    return value.is_string() ? value.get<std::string>() : value.dump();
}

using Key = std::pair<kelix::ParameterId, Route>;

// Every (parameter, route) of either snapshot, in id order, store first.
std::vector<Key> Keys(const Snapshot& main, const Snapshot* other) {
    std::set<Key> keys;
    for (const Snapshot* snapshot : {&main, other}) {
        if (snapshot == nullptr) continue;
        for (const SnapshotEntry& entry : snapshot->entries) keys.emplace(entry.parameter->id, entry.route);
    }
    return {keys.begin(), keys.end()};
}

// The rows of one array field: 20 bands each (the last may be shorter).
std::vector<std::vector<double>> Rows(const Json& field) {
    std::vector<std::vector<double>> rows;
    if (!field.is_array()) return rows;
    std::vector<double> row;
    for (const Json& item : field) {
        if (!item.is_number()) continue;
        row.push_back(item.get<double>());
        if (row.size() == kBands) {
            rows.push_back(std::move(row));
            row.clear();
        }
    }
    if (!row.empty()) rows.push_back(std::move(row));
    return rows;
}

// Round steps (1, 2 or 5 times a power of ten) covering [low, high].
std::vector<double> Ticks(double low, double high) {
    const double span = high - low;
    const double raw = span / 4;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    const double step = raw / power < 1.5 ? power : raw / power < 3.5 ? 2 * power : raw / power < 7.5 ? 5 * power : 10 * power;
    std::vector<double> ticks;
    for (double tick = std::ceil(low / step) * step; tick <= high + step * 1e-9; tick += step) {
        ticks.push_back(std::abs(tick) < step * 1e-9 ? 0 : tick);
    }
    return ticks;
}

std::string TickText(double value) {
    const double magnitude = std::abs(value);
    char text[32];
    if (magnitude >= 1e6) {
        std::snprintf(text, sizeof text, "%.3g", value);
    } else if (magnitude == std::floor(magnitude)) {
        std::snprintf(text, sizeof text, "%.0f", value);
    } else {
        std::snprintf(text, sizeof text, "%g", value);
    }
    return text;
}

struct Series {
    int source;  // 0 main, 1 compare
    std::vector<std::vector<double>> rows;
};

// One chart: bands 1-N across, values up, a curve per row of each series.
std::string Chart(const std::string& caption, const std::string& parameter, Route route, const std::string& field,
                  const std::vector<Series>& series) {
    double low = 0, high = 0;
    std::size_t bands = 1;
    bool first = true;
    for (const Series& s : series) {
        for (const auto& row : s.rows) {
            bands = std::max(bands, row.size());
            for (const double value : row) {
                low = first ? value : std::min(low, value);
                high = first ? value : std::max(high, value);
                first = false;
            }
        }
    }
    if (high - low < 1e-9) {  // a flat line stands in the middle
        low -= 1;
        high += 1;
    }
    const std::vector<double> ticks = Ticks(low, high);
    low = std::min(low, ticks.front());
    high = std::max(high, ticks.back());
    const double plotWidth = kWidth - kLeft - kRight, plotHeight = kHeight - kTop - kBottom;
    const auto x = [&](std::size_t band) {
        return kLeft + (bands == 1 ? plotWidth / 2 : plotWidth * static_cast<double>(band) / static_cast<double>(bands - 1));
    };
    const auto y = [&](double value) { return kTop + plotHeight * (high - value) / (high - low); };

    std::string svg = "<figure class=\"chart\" data-parameter=\"" + Escape(parameter) + "\" data-route=\"" +
                      std::string(RouteText(route)) + "\" data-field=\"" + Escape(field) + "\"><figcaption>" +
                      Escape(caption) + "</figcaption>";
    svg += "<svg viewBox=\"0 0 " + Number(kWidth) + " " + Number(kHeight) + "\" role=\"img\" aria-label=\"" +
           Escape(caption) + "\">";
    for (const double tick : ticks) {
        svg += "<line class=\"grid\" x1=\"" + Number(kLeft) + "\" x2=\"" + Number(kWidth - kRight) + "\" y1=\"" +
               Number(y(tick)) + "\" y2=\"" + Number(y(tick)) + "\"/>";
        svg += "<text class=\"tick\" x=\"" + Number(kLeft - 5) + "\" y=\"" + Number(y(tick) + 3.5) +
               "\" text-anchor=\"end\">" + TickText(tick) + "</text>";
    }
    for (std::size_t band = 0; band < bands; ++band) {
        if (band != 0 && (band + 1) % 5 != 0 && band + 1 != bands) continue;
        svg += "<text class=\"tick\" x=\"" + Number(x(band)) + "\" y=\"" + Number(kHeight - kBottom + 14) +
               "\" text-anchor=\"middle\">" + std::to_string(band + 1) + "</text>";
    }
    svg += "<line class=\"axis\" x1=\"" + Number(kLeft) + "\" x2=\"" + Number(kLeft) + "\" y1=\"" + Number(kTop) +
           "\" y2=\"" + Number(kHeight - kBottom) + "\"/>";
    svg += "<line class=\"axis\" x1=\"" + Number(kLeft) + "\" x2=\"" + Number(kWidth - kRight) + "\" y1=\"" +
           Number(kHeight - kBottom) + "\" y2=\"" + Number(kHeight - kBottom) + "\"/>";
    svg += "<text class=\"title\" x=\"" + Number(kLeft + plotWidth / 2) + "\" y=\"" + Number(kHeight - 6) +
           "\" text-anchor=\"middle\">band</text>";
    svg += "<text class=\"title\" transform=\"translate(12 " + Number(kTop + plotHeight / 2) +
           ") rotate(-90)\" text-anchor=\"middle\">value</text>";
    for (const Series& s : series) {
        for (std::size_t r = 0; r < s.rows.size(); ++r) {
            std::string d;
            for (std::size_t band = 0; band < s.rows[r].size(); ++band) {
                d += (band == 0 ? "M" : " L") + Number(x(band)) + " " + Number(y(s.rows[r][band]));
            }
            if (s.rows[r].size() == 1) d += " h0.1";
            svg += "<path class=\"curve" + std::string(s.rows.size() > 1 ? " row" : "") + "\" data-source=\"" +
                   std::to_string(s.source) + "\" data-row=\"" + std::to_string(r) + "\" d=\"" + d + "\">";
            svg += "<title>" + Escape(field) + (s.rows.size() > 1 ? "[" + std::to_string(r) + "]" : "") + "</title></path>";
        }
    }
    return svg + "</svg></figure>\n";
}

std::string SummaryRow(const std::string& name, const std::string& main, const std::string* other) {
    std::string row = "<tr" + std::string(other != nullptr && *other != main ? " class=\"differs\"" : "") + "><th>" +
                      Escape(name) + "</th><td>" + Escape(main) + "</td>";
    if (other != nullptr) row += "<td>" + Escape(*other) + "</td>";
    return row + "</tr>\n";
}

std::string RoutesText(const Snapshot& snapshot) {
    std::string text;
    for (const Route route : snapshot.routes) text += (text.empty() ? "" : ", ") + std::string(RouteText(route));
    return text;
}

}  // namespace

bool IsBandArray(kelix::ParameterId id) {
    return std::find(std::begin(kBandArrays), std::end(kBandArrays), id) != std::end(kBandArrays);
}

std::string ReportHtml(const ReportSource& main, const ReportSource* compare) {
    const Snapshot& first = *main.snapshot;
    const Snapshot* second = compare != nullptr ? compare->snapshot : nullptr;
    const std::string title = "Tuning of " + (first.endpoint.name.empty() ? main.label : first.endpoint.name);

    std::string html = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
                       "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
                       Escape(title) + "</title>\n<style>" + kStyle + "</style></head>\n<body>\n<h1>" + Escape(title) + "</h1>\n";
    html += "<p class=\"legend\"><span><span class=\"swatch source0\"></span>" + Escape(main.label) + "</span>";
    if (second != nullptr) html += "<span><span class=\"swatch source1\"></span>" + Escape(compare->label) + "</span>";
    html += "</p>\n";

    // The endpoint.
    html += "<h2>Endpoint</h2>\n<table class=\"summary\">\n";
    if (second != nullptr) html += "<tr><th></th><th>" + Escape(main.label) + "</th><th>" + Escape(compare->label) + "</th></tr>\n";
    const auto summary = [&](const std::string& name, auto field) {
        const std::string other = second != nullptr ? field(*second) : "";
        html += SummaryRow(name, field(first), second != nullptr ? &other : nullptr);
    };
    summary("name", [](const Snapshot& s) { return s.endpoint.name; });
    summary("id", [](const Snapshot& s) { return s.endpoint.id; });
    summary("form factor", [](const Snapshot& s) {
        return std::string(FormFactorText(s.endpoint.formFactor)) + " (" + std::to_string(s.endpoint.formFactor) + ")";
    });
    summary("PEX", [](const Snapshot& s) { return s.endpoint.pexVersion.empty() ? "-" : s.endpoint.pexVersion; });
    summary("KRELO", [](const Snapshot& s) { return s.endpoint.kreloVersion.empty() ? "-" : s.endpoint.kreloVersion; });
    summary("routes", [](const Snapshot& s) { return RoutesText(s); });
    summary("values", [](const Snapshot& s) { return std::to_string(s.entries.size()); });
    summary("saved", [](const Snapshot& s) { return s.saved.empty() ? "-" : s.saved; });
    html += "</table>\n";

    const std::vector<Key> keys = Keys(first, second);
    const auto find = [](const Snapshot* snapshot, const Key& key) {
        return snapshot != nullptr ? snapshot->Find(key.first, key.second) : nullptr;
    };

    // Scalars and texts.
    html += "<h2>Values</h2>\n<table class=\"scalars\">\n<tr><th>id</th><th>name</th><th>route</th><th>" +
            Escape(main.label) + "</th>" + (second != nullptr ? "<th>" + Escape(compare->label) + "</th>" : "") + "</tr>\n";
    for (const Key& key : keys) {
        const ParameterDescription& parameter = *kelix::FindParameter(key.first);
        if (parameter.kind == ValueKind::Structure) continue;
        const SnapshotEntry* a = find(&first, key);
        const SnapshotEntry* b = find(second, key);
        const bool differs = second != nullptr && (a == nullptr || b == nullptr || a->value != b->value);
        const char* cell = parameter.kind == ValueKind::Scalar ? "<td class=\"number\">" : "<td>";
        html += std::string("<tr") + (differs ? " class=\"differs\"" : "") + "><td class=\"number\">" +
                std::to_string(parameter.id) + "</td><td>" + Escape(parameter.name) + "</td><td>" +
                std::string(RouteText(key.second)) + "</td>" + cell + Escape(a != nullptr ? ValueText(a->value) : "") + "</td>";
        if (second != nullptr) html += cell + Escape(b != nullptr ? ValueText(b->value) : "") + "</td>";
        html += "</tr>\n";
    }
    html += "</table>\n";

    // Band arrays: one chart per array field.
    html += "<h2>Band arrays</h2>\n<div class=\"charts\">\n";
    std::size_t charts = 0;
    for (const Key& key : keys) {
        if (!IsBandArray(key.first)) continue;
        const ParameterDescription& parameter = *kelix::FindParameter(key.first);
        const SnapshotEntry* entries[] = {find(&first, key), find(second, key)};
        for (const kelix::FieldLayout& layout : parameter.fields) {
            const std::string field(layout.name);
            std::vector<Series> series;
            for (int source = 0; source < 2; ++source) {
                const SnapshotEntry* entry = entries[source];
                if (entry == nullptr || !entry->value.is_object() || !entry->value.contains(field)) continue;
                std::vector<std::vector<double>> rows = Rows(entry->value[field]);
                if (!rows.empty()) series.push_back({source, std::move(rows)});
            }
            if (series.empty()) continue;
            std::string caption = parameter.name + " \u00B7 " + field + " (" + std::string(RouteText(key.second)) + ")";
            if (entries[0] != nullptr && entries[0]->value.contains("count")) {
                caption += ", count " + ValueText(entries[0]->value["count"]);
            }
            if (series.front().rows.size() > 1) caption += ", " + std::to_string(series.front().rows.size()) + " rows";
            html += Chart(caption, parameter.name, key.second, field, series);
            ++charts;
        }
    }
    html += "</div>\n";
    if (charts == 0) html += "<p class=\"muted\">No band array holds a value.</p>\n";

    // Other structures, by field.
    html += "<h2>Other structures</h2>\n<table class=\"structures\">\n<tr><th>id</th><th>name</th><th>route</th><th>" +
            Escape(main.label) + "</th>" + (second != nullptr ? "<th>" + Escape(compare->label) + "</th>" : "") + "</tr>\n";
    for (const Key& key : keys) {
        const ParameterDescription& parameter = *kelix::FindParameter(key.first);
        if (parameter.kind != ValueKind::Structure || IsBandArray(key.first)) continue;
        const auto lines = [&](const SnapshotEntry* entry) {
            if (entry == nullptr) return std::string();
            std::string text;
            for (const std::string& line : ValueToLines(parameter, entry->value)) {
                text += (text.empty() ? "" : "\n") + (line.size() > 400 ? line.substr(0, 400) + " \u2026" : line);
            }
            return text;
        };
        const SnapshotEntry* a = find(&first, key);
        const SnapshotEntry* b = find(second, key);
        const bool differs = second != nullptr && (a == nullptr || b == nullptr || a->value != b->value);
        html += std::string("<tr") + (differs ? " class=\"differs\"" : "") + "><td class=\"number\">" +
                std::to_string(parameter.id) + "</td><td>" + Escape(parameter.name) + "</td><td>" +
                std::string(RouteText(key.second)) + "</td><td><pre>" + Escape(lines(a)) + "</pre></td>";
        if (second != nullptr) html += "<td><pre>" + Escape(lines(b)) + "</pre></td>";
        html += "</tr>\n";
    }
    html += "</table>\n</body></html>\n";
    return html;
}

}  // namespace pexctl
