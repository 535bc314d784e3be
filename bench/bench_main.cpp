// The benchmark program: Google Benchmark's console output, then a table of ratios ours/peer.
//
// Absolute figures move with the machine's load; ratios taken in the same run move much less,
// so the table is what the README quotes.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

struct Sample {
    std::vector<double> throughput; // bytes or items per second, one per repetition
    std::vector<double> size;       // the "size" counter, where set
    bool bytes = true;
};

double median(std::vector<double> v)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

std::string human_rate(double perSecond, bool bytes)
{
    char buf[64];
    const char* unit = bytes ? "B/s" : "/s";
    if (perSecond >= 1e9)
        std::snprintf(buf, sizeof buf, "%.2f G%s", perSecond / 1e9, unit);
    else if (perSecond >= 1e6)
        std::snprintf(buf, sizeof buf, "%.1f M%s", perSecond / 1e6, unit);
    else
        std::snprintf(buf, sizeof buf, "%.1f k%s", perSecond / 1e3, unit);
    return buf;
}

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            Sample& sample = samples_[run.run_name.function_name];
            auto bytes = run.counters.find("bytes_per_second");
            auto items = run.counters.find("items_per_second");
            if (bytes != run.counters.end()) {
                sample.throughput.push_back(bytes->second.value);
            } else if (items != run.counters.end()) {
                sample.throughput.push_back(items->second.value);
                sample.bytes = false;
            } else {
                sample.throughput.push_back(1e9 / run.GetAdjustedRealTime());
                sample.bytes = false;
            }
            auto size = run.counters.find("size");
            if (size != run.counters.end())
                sample.size.push_back(size->second.value);
        }
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        std::printf("\nRatios ours/peer, same run (throughput: above 1 means ours is faster; "
                    "size: below 1 means ours is smaller)\n");
        std::printf("%-22s %-26s %-12s %14s %14s %8s %8s\n", "group", "case", "peer", "ours",
                    "peer", "speed", "size");
        for (const auto& [name, ours] : samples_) {
            std::string group, impl, label;
            if (!split(name, group, impl, label) || impl != "ours")
                continue;
            for (const auto& [peerName, peer] : samples_) {
                std::string pGroup, pImpl, pLabel;
                if (!split(peerName, pGroup, pImpl, pLabel) || pImpl == "ours" ||
                    pGroup != group || pLabel != label)
                    continue;
                double o = median(ours.throughput), p = median(peer.throughput);
                char sizeRatio[16] = "";
                if (!ours.size.empty() && !peer.size.empty() && median(peer.size) > 0)
                    std::snprintf(sizeRatio, sizeof sizeRatio, "%.3f",
                                  median(ours.size) / median(peer.size));
                std::printf("%-22s %-26s %-12s %14s %14s %7.2fx %8s\n", group.c_str(),
                            label.c_str(), pImpl.c_str(), human_rate(o, ours.bytes).c_str(),
                            human_rate(p, peer.bytes).c_str(), p > 0 ? o / p : 0.0, sizeRatio);
            }
        }
    }

private:
    static bool split(const std::string& name, std::string& group, std::string& impl,
                      std::string& label)
    {
        size_t a = name.find('/');
        size_t b = a == std::string::npos ? a : name.find('/', a + 1);
        if (b == std::string::npos)
            return false;
        group = name.substr(0, a);
        impl = name.substr(a + 1, b - a - 1);
        label = name.substr(b + 1);
        return true;
    }

    std::map<std::string, Sample> samples_;
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
