// Ratio of two sides measured in one process: the measured operation and the
// baseline it is judged against. The sides alternate in short runs, so a drift
// or pause of the machine (another process, a frequency change) hits both
// alike; the result is the median ratio over the rounds and its spread.
#pragma once

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// A side runs `iterations` operations and answers the nanoseconds they took;
// setting up (installing a platform, say) may happen before its clock starts.
using Side = std::function<double(long iterations)>;

struct Ratio {
    double median = 0;      // measured ÷ baseline, per operation
    double low = 0;         // smallest and largest ratio of a round
    double high = 0;
    double measuredNs = 0;  // median nanoseconds per operation of each side
    double baselineNs = 0;
    long iterations = 0;    // per run of one side
};

inline double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// The baseline's time is multiplied by baselineScale (64 × one endpoint, say).
// A round is `slices` back-to-back pairs of short runs of the two sides, the
// order swapped from pair to pair, and takes the fastest run of each side: a
// run that another process interrupted is slower, never faster, so on a busy
// machine the fastest run is the one that shows the code. Iterations per run
// grow until the measured side takes at least targetNs.
inline Ratio MeasureRatio(const Side& measured, const Side& baseline, double baselineScale = 1, int rounds = 9,
                          double targetNs = 5e6, int slices = 8) {
    long iterations = 1;
    while (measured(iterations) < targetNs && iterations < (1L << 24)) iterations *= 2;
    baseline(iterations);  // both sides warm
    std::vector<double> ratios, measuredNs, baselineNs;
    for (int round = 0; round < rounds; ++round) {
        double m = 1e300, b = 1e300;
        for (int slice = 0; slice < slices; ++slice) {
            if (slice % 2 == 0) {
                m = std::min(m, measured(iterations));
                b = std::min(b, baseline(iterations));
            } else {
                b = std::min(b, baseline(iterations));
                m = std::min(m, measured(iterations));
            }
        }
        b *= baselineScale;
        const auto operations = static_cast<double>(iterations);
        ratios.push_back(m / b);
        measuredNs.push_back(m / operations);
        baselineNs.push_back(b / operations);
    }
    Ratio ratio;
    ratio.median = Median(ratios);
    ratio.low = *std::min_element(ratios.begin(), ratios.end());
    ratio.high = *std::max_element(ratios.begin(), ratios.end());
    ratio.measuredNs = Median(measuredNs);
    ratio.baselineNs = Median(baselineNs);
    ratio.iterations = iterations;
    return ratio;
}

// One row of the table, in Markdown: row, what, ratio, spread, times, goal, verdict, notes.
inline void PrintRow(const char* row, const std::string& what, const Ratio& ratio, double goal,
                     const std::string& notes) {
    std::printf("| %s | %s | %.2f | %.2f-%.2f | %.0f ns / %.0f ns | <= %.1f | %s | %s |\n", row, what.c_str(),
                ratio.median, ratio.low, ratio.high, ratio.measuredNs, ratio.baselineNs, goal,
                ratio.median <= goal ? "met" : "MISSED", notes.c_str());
    std::fflush(stdout);
}

// A row without a ratio (counts): the value column holds the count.
inline void PrintCountRow(const char* row, const std::string& what, const std::string& value, const char* goal,
                          bool met, const std::string& notes) {
    std::printf("| %s | %s | %s | - | - | %s | %s | %s |\n", row, what.c_str(), value.c_str(), goal,
                met ? "met" : "MISSED", notes.c_str());
    std::fflush(stdout);
}

}  // namespace bench
