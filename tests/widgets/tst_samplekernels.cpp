#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/samplekernels.h"

#include <QTest>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Reduced {
    std::vector<float> minimum;
    std::vector<float> maximum;
    std::vector<float> squares;
};

Reduced reduce(const QList<float>& samples, const std::vector<qint64>& begins,
               const std::vector<qint64>& counts)
{
    Reduced result;
    result.minimum.assign(begins.size(), 99.0F);
    result.maximum.assign(begins.size(), 99.0F);
    result.squares.assign(begins.size(), 99.0F);
    sample_kernels::reduceColumns(
        samples.constData(), begins.data(), counts.data(), static_cast<int>(begins.size()),
        {result.minimum.data(), result.maximum.data()}, result.squares.data());
    return result;
}

} // namespace

class TestSampleKernels : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void extremesAreFoundAtEveryPlaceOfEveryLength()
    {
        for (qint64 count = 1; count <= 70; ++count) {
            for (qint64 place = 0; place < count; ++place) {
                QList<float> samples(count, 0.25F);
                float minimum = 0;
                float maximum = 0;
                samples[place] = 0.75F;
                sample_kernels::summariseStretch(samples.constData(), count, minimum, maximum);
                QCOMPARE(maximum, 0.75F);
                QCOMPARE(minimum, count == 1 ? 0.75F : 0.25F);
                samples[place] = -0.75F;
                sample_kernels::summariseStretch(samples.constData(), count, minimum, maximum);
                QCOMPARE(minimum, -0.75F);
                QCOMPARE(maximum, count == 1 ? -0.75F : 0.25F);
            }
        }
    }

    void anEmptyStretchRangesFromZeroToZero()
    {
        float minimum = 9;
        float maximum = 9;
        sample_kernels::summariseStretch(nullptr, 0, minimum, maximum);
        QCOMPARE(minimum, 0.0F);
        QCOMPARE(maximum, 0.0F);
    }

    void nanIsAsIfItWereNotThere()
    {
        float minimum = 9;
        float maximum = 9;
        QList<float> samples(50, kNan);
        sample_kernels::summariseStretch(samples.constData(), 50, minimum, maximum);
        QCOMPARE(minimum, 0.0F);
        QCOMPARE(maximum, 0.0F);
        samples[17] = 0.5F;
        sample_kernels::summariseStretch(samples.constData(), 50, minimum, maximum);
        QCOMPARE(minimum, 0.5F);
        QCOMPARE(maximum, 0.5F);
        samples[18] = -kInfinity;
        sample_kernels::summariseStretch(samples.constData(), 50, minimum, maximum);
        QCOMPARE(minimum, -kInfinity);
    }

    void squaresAreAddedInOrderInSinglePrecision()
    {
        // 1 swallows 2⁻²⁵ added to it, but not sixteen of them that came first.
        const float tiny = std::ldexp(1.0F, -13) * std::sqrt(2.0F) / 2; // squared about 2⁻²⁷
        QList<float> rising(17, tiny);
        rising[16] = 1.0F;
        QList<float> falling(17, tiny);
        falling[0] = 1.0F;
        float inOrder = 0;
        for (const float value : rising)
            inOrder += value * value;
        QVERIFY(inOrder > 1.0F);
        const std::vector<qint64> begins(11, 0);
        const std::vector<qint64> counts(11, 17);
        const Reduced up = reduce(rising, begins, counts);
        const Reduced down = reduce(falling, begins, counts);
        for (std::size_t column = 0; column < begins.size(); ++column) {
            QCOMPARE(up.squares[column], inOrder);
            QCOMPARE(down.squares[column], 1.0F);
        }
    }

    void reduceColumnsTakesEachColumnsOwnStretch()
    {
        const QList<float> samples = signal_makers::noise(4000, 7);
        std::vector<qint64> begins;
        std::vector<qint64> counts;
        for (qint64 column = 0; column < 45; ++column) {
            begins.push_back(column * 61);
            counts.push_back(column % 7 == 3 ? 0 : 1 + (column * 37) % 300);
        }
        const Reduced result = reduce(samples, begins, counts);
        for (std::size_t column = 0; column < begins.size(); ++column) {
            float minimum = counts[column] > 0 ? 2.0F : 0.0F;
            float maximum = counts[column] > 0 ? -2.0F : 0.0F;
            float squares = 0;
            for (qint64 i = begins[column]; i < begins[column] + counts[column]; ++i) {
                minimum = std::min(minimum, samples[i]);
                maximum = std::max(maximum, samples[i]);
                const float square = samples[i] * samples[i];
                squares += square;
            }
            QCOMPARE(result.minimum[column], minimum);
            QCOMPARE(result.maximum[column], maximum);
            QVERIFY(result.squares[column] == squares);
        }
    }

    void reducePeaksTakesMinimaAndMaximaFromTheirOwnLists()
    {
        const std::vector<float> minima{-0.1F, -0.9F, -0.2F, -0.3F};
        const std::vector<float> maxima{0.8F, 0.1F, 0.2F, 0.3F};
        const std::vector<qint64> begins{0, 1, 2, 4};
        const std::vector<qint64> counts{2, 3, 1, 0};
        std::vector<float> minimum(4, 9.0F);
        std::vector<float> maximum(4, 9.0F);
        sample_kernels::reducePeaks(minima.data(), maxima.data(), begins.data(), counts.data(), 4,
                                    {minimum.data(), maximum.data()});
        QCOMPARE(minimum, (std::vector<float>{-0.9F, -0.9F, -0.2F, 0.0F}));
        QCOMPARE(maximum, (std::vector<float>{0.8F, 0.3F, 0.2F, 0.0F}));
    }
};

QTEST_APPLESS_MAIN(TestSampleKernels)
#include "tst_samplekernels.moc"
