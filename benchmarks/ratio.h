#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Speed as a ratio to a reference kernel that runs in the same process, turn
/// about, so that a shared or slow machine slows both alike.
namespace bench {

/// What is timed. With `prepare` set, it runs untimed before every single timed
/// call; without, `run` may be called many times in a row to fill one sample.
struct Kernel {
    std::function<void()> run;
    std::function<void()> prepare;
};

/// What a time is taken of: the wall's clock, or the calling thread's share of a
/// core, which a busy machine lengthens less. Work of several threads needs the
/// former.
enum class Clock { Wall, ThreadCpu };

struct Times {
    double figureNs = 0;    ///< median of one product call
    double referenceNs = 0; ///< median of one reference call
    double ratio = 0;       ///< median over the rounds of each round's ratio
};

/// Times product and reference alternately for `rounds` rounds.
/// `minSampleMs`: calls without `prepare` are repeated until a sample lasts so long.
Times timeTurnAbout(const Kernel& reference, const Kernel& product, int rounds = 15,
                    double minSampleMs = 4.0, Clock clock = Clock::Wall);

enum class Bound { AtMost, AtLeast };

/// Collects the rows of one benchmark program, prints each as
/// `row | figure | reference | ratio | target | met`, and on destruction
/// writes them all to the file given as `--json FILE`.
/// `--filter TEXT` keeps only rows whose name contains TEXT.
class Report {
public:
    Report(int argc, char** argv);
    ~Report();
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    /// False when the filter leaves the row out, so that its data need not be made.
    [[nodiscard]] bool wants(const std::string& row) const;

    /// Times and adds a row; met when ratio ≤ `target`.
    void compare(const std::string& row, const Kernel& reference, const Kernel& product,
                 double target, int rounds = 15, Clock clock = Clock::Wall);

    /// Adds a row measured otherwise (bytes, milliseconds…): `unit` names both figures.
    void add(const std::string& row, double figure, double reference, double target,
             const std::string& unit);

    /// Adds a row that stands beside a bound instead of a reference.
    void bound(const std::string& row, double figure, Bound kind, double target,
               const std::string& unit);

    /// Adds a row that is told and not judged.
    void tell(const std::string& row, double figure, const std::string& unit);

    /// 0 when every row is met, 1 otherwise: the program's exit code.
    [[nodiscard]] int exitCode() const;

private:
    struct Row {
        std::string name;
        std::string unit;
        double figure = 0;
        std::optional<double> reference; ///< none: `target` bounds the figure itself
        double ratio = 0;
        std::optional<double> target; ///< none: told only
        Bound bound = Bound::AtMost;

        [[nodiscard]] bool isMet() const;
    };

    void keep(const Row& row);

    std::vector<Row> m_rows;
    std::string m_jsonPath;
    std::string m_filter;
};

} // namespace bench
