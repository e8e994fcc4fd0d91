#include "ratio.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace bench {

namespace {

constexpr int kMaxRepeats = 1 << 20;
constexpr double kMinSampleMs = 4.0;

double nowNs(Clock clock)
{
    timespec time{};
    clock_gettime(clock == Clock::Wall ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

double timeCallsNs(const Kernel& kernel, int repeats, Clock clock)
{
    if (kernel.prepare)
        kernel.prepare();
    const double begin = nowNs(clock);
    for (int i = 0; i < repeats; ++i)
        kernel.run();
    return (nowNs(clock) - begin) / repeats;
}

int repeatsFor(const Kernel& kernel, double minSampleNs, Clock clock)
{
    timeCallsNs(kernel, 1, clock); // caches, lazily made state
    if (kernel.prepare)
        return 1;
    const double oneNs = std::max(timeCallsNs(kernel, 1, clock), 1.0);
    int repeats = std::clamp(static_cast<int>(minSampleNs / oneNs), 1, kMaxRepeats);
    // A first call is rarely typical of a very short kernel: measure again.
    const double typicalNs = std::max(timeCallsNs(kernel, repeats, clock), 1.0);
    repeats = std::clamp(static_cast<int>(minSampleNs / typicalNs), 1, kMaxRepeats);
    return repeats;
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::string number(const std::optional<double>& value, const char* without)
{
    if (!value)
        return without;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.5g", *value);
    return text.data();
}

const char* boundName(Bound bound)
{
    return bound == Bound::AtMost ? "at most" : "at least";
}

} // namespace

Times timeTurnAbout(const Kernel& reference, const Kernel& product, int rounds, double minSampleMs,
                    Clock clock)
{
    const int referenceRepeats = repeatsFor(reference, minSampleMs * 1e6, clock);
    const int productRepeats = repeatsFor(product, minSampleMs * 1e6, clock);
    std::vector<double> figures;
    std::vector<double> references;
    std::vector<double> ratios;
    for (int round = 0; round < std::max(rounds, 1); ++round) {
        references.push_back(timeCallsNs(reference, referenceRepeats, clock));
        figures.push_back(timeCallsNs(product, productRepeats, clock));
        ratios.push_back(figures.back() / std::max(references.back(), 1e-3));
    }
    return {median(figures), median(references), median(ratios)};
}

Report::Report(int argc, char** argv)
{
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0)
            m_jsonPath = argv[++i];
        else if (std::strcmp(argv[i], "--filter") == 0)
            m_filter = argv[++i];
    }
    std::printf("row | figure | reference | ratio | target | met\n");
}

Report::~Report()
{
    if (m_jsonPath.empty())
        return;
    std::FILE* file = std::fopen(m_jsonPath.c_str(), "w");
    if (file == nullptr) {
        std::fprintf(stderr, "cannot write %s\n", m_jsonPath.c_str());
        return;
    }
    std::fprintf(file, "[");
    const char* separator = "\n";
    for (const Row& row : m_rows) {
        std::fprintf(file,
                     "%s  {\"row\": \"%s\", \"unit\": \"%s\", \"figure\": %.6g, "
                     "\"reference\": %s, \"ratio\": %s, \"target\": %s, \"bound\": \"%s\", "
                     "\"met\": %s}",
                     separator, row.name.c_str(), row.unit.c_str(), row.figure,
                     number(row.reference, "null").c_str(),
                     row.reference ? number(row.ratio, "null").c_str() : "null",
                     number(row.target, "null").c_str(), boundName(row.bound),
                     !row.target   ? "null"
                     : row.isMet() ? "true"
                                   : "false");
        separator = ",\n";
    }
    std::fprintf(file, "\n]\n");
    std::fclose(file);
}

bool Report::wants(const std::string& row) const
{
    return row.find(m_filter) != std::string::npos;
}

void Report::compare(const std::string& row, const Kernel& reference, const Kernel& product,
                     double target, int rounds, Clock clock)
{
    if (!wants(row))
        return;
    const Times times = timeTurnAbout(reference, product, rounds, kMinSampleMs, clock);
    keep({row, "ns", times.figureNs, times.referenceNs, times.ratio, target, Bound::AtMost});
}

void Report::add(const std::string& row, double figure, double reference, double target,
                 const std::string& unit)
{
    if (wants(row))
        keep({row, unit, figure, reference, figure / reference, target, Bound::AtMost});
}

void Report::bound(const std::string& row, double figure, Bound kind, double target,
                   const std::string& unit)
{
    if (wants(row))
        keep({row, unit, figure, {}, 0, target, kind});
}

void Report::tell(const std::string& row, double figure, const std::string& unit)
{
    if (wants(row))
        keep({row, unit, figure, {}, 0, {}, Bound::AtMost});
}

int Report::exitCode() const
{
    return std::all_of(m_rows.begin(), m_rows.end(), [](const Row& row) { return row.isMet(); })
               ? 0
               : 1;
}

bool Report::Row::isMet() const
{
    if (!target)
        return true;
    const double judged = reference ? ratio : figure;
    return bound == Bound::AtMost ? judged <= *target : judged >= *target;
}

void Report::keep(const Row& row)
{
    std::printf("%s | %.6g %s | %s | %s | %s %s | %s\n", row.name.c_str(), row.figure,
                row.unit.c_str(), number(row.reference, "-").c_str(),
                row.reference ? number(row.ratio, "-").c_str() : "-", boundName(row.bound),
                number(row.target, "-").c_str(),
                !row.target   ? "-"
                : row.isMet() ? "yes"
                              : "NO");
    std::fflush(stdout);
    m_rows.push_back(row);
}

} // namespace bench
