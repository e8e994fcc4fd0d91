#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/spectrumanalyser.h"

#include <QTest>

#include <array>
#include <cmath>
#include <complex>
#include <limits>
#include <memory>
#include <numbers>
#include <vector>

namespace {

constexpr int kBands = SpectrumAnalyser::kBands;
constexpr double kRateHz = 44100;

using Complex = std::complex<double>;

double bandHz(int k)
{
    return std::exp(std::log(20.0) + (std::log(20000.0) - std::log(20.0)) * k / 255);
}

double firstSmoothing(double hz, double rateHz)
{
    return 1 - std::exp(-(hz / rateHz) / std::log(hz + 1));
}

/// The bank as its formulas stand, in double precision and without any haste.
class SlowBank {
public:
    explicit SlowBank(double rateHz)
    {
        for (int k = 0; k < kBands; ++k) {
            const double hz = bandHz(k);
            m_bands.push_back({firstSmoothing(hz, rateHz),
                               std::polar(1.0, -2 * std::numbers::pi * hz / rateHz), 1.0, 0.0,
                               0.0});
        }
    }

    void process(const QList<float>& samples)
    {
        for (const float x : samples) {
            for (Band& band : m_bands) {
                const double beta = band.alpha / 2;
                band.first = (1 - band.alpha) * band.first + band.alpha * double(x) * band.phasor;
                band.second = (1 - beta) * band.second + beta * band.first;
                band.phasor *= band.rotation;
            }
        }
    }

    [[nodiscard]] double power(int k) const
    {
        return std::norm(m_bands[static_cast<size_t>(k)].second);
    }

private:
    struct Band {
        double alpha;
        Complex rotation;
        Complex phasor;
        Complex first;
        Complex second;
    };

    std::vector<Band> m_bands;
};

/// Power that a full-scale sine `offsetHz` beside band k settles at: both stages
/// are one-pole low passes that see it at the offset, at half its amplitude.
double closedFormPower(int k, double offsetHz)
{
    const double alpha = firstSmoothing(bandHz(k), kRateHz);
    const Complex z = std::polar(1.0, -2 * std::numbers::pi * offsetHz / kRateHz);
    double power = 0.25;
    for (const double a : {alpha, alpha / 2})
        power *= std::norm(a / (1.0 - (1.0 - a) * z));
    return power;
}

/// Power that white noise of variance 1 settles at: the energy of the impulse
/// response of the two stages, which grows with the band's width.
double noisePower(int k)
{
    const double alpha = firstSmoothing(bandHz(k), kRateHz);
    const double beta = alpha / 2;
    const double a = 1 - alpha;
    const double b = 1 - beta;
    return alpha * alpha * beta * beta * (1 + a * b) / ((1 - a * a) * (1 - b * b) * (1 - a * b));
}

double decibels(double power)
{
    return 10 * std::log10(power);
}

/// Samples in which band k's slower stage settles to far below a hundredth of a dB.
qsizetype settlingSamples(int k)
{
    return static_cast<qsizetype>(24 / firstSmoothing(bandHz(k), kRateHz));
}

void process(SpectrumAnalyser& bank, const QList<float>& samples)
{
    bank.process(samples.constData(), static_cast<int>(samples.size()));
}

} // namespace

class TestSpectrumAnalyser : public QObject {
    Q_OBJECT

private:
    static void compareAllBands(const SpectrumAnalyser& bank, const SpectrumAnalyser& other)
    {
        for (int k = 0; k < kBands; ++k)
            QCOMPARE(bank.power(k), other.power(k));
    }

    /// After a sine at the centre of `band`, so that nothing but it is left, the band
    /// and its neighbours read what the stages let through there. Farther away the
    /// sine's mirror image at the negative frequency is no longer small beside it.
    static void requireClosedFormAround(const SpectrumAnalyser& bank, int band)
    {
        constexpr int kReach = 4;
        for (int k = qMax(band - kReach, 0); k <= qMin(band + kReach, kBands - 1); ++k) {
            const double apart =
                decibels(bank.power(k)) - decibels(closedFormPower(k, bandHz(band) - bandHz(k)));
            QVERIFY2(std::abs(apart) < 1.0,
                     qPrintable(
                         QStringLiteral("sine at %1, band %2: %3 dB").arg(band).arg(k).arg(apart)));
        }
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void bandsGoFrom20To20000HzInEqualRatios()
    {
        QVERIFY(std::abs(SpectrumAnalyser::bandHz(0) - 20) < 1e-9);
        QVERIFY(std::abs(SpectrumAnalyser::bandHz(255) - 20000) < 1e-6);
        // a third of the way is a factor of ten
        QVERIFY(std::abs(SpectrumAnalyser::bandHz(85) - 200) < 1e-7);
        QVERIFY(std::abs(SpectrumAnalyser::bandHz(170) - 2000) < 1e-6);
    }

    void levelSpansEightyDecibels()
    {
        SpectrumAnalyser bank;
        QCOMPARE(bank.power(0), 0.0);
        QCOMPARE(bank.level(0), 0.0);
        process(bank, signal_makers::sine(settlingSamples(128), bandHz(128), kRateHz));
        // a power of 1/4 is −6.02 dB: (80 − 6.02) / 80
        QVERIFY(std::abs(bank.level(128) - 0.92474) < 0.002);
        process(bank, signal_makers::sine(settlingSamples(128), bandHz(128), kRateHz, 100.0F));
        QCOMPARE(bank.level(128), 1.0);
    }

    // Rounding to floats costs at most about ε / β in a stage (ε = 6 × 10⁻⁸, β the
    // smoothing of the slowest band): 0.05 dB at 192 kHz, less below.
    void staysNearTheFormulasInDoublePrecision_data()
    {
        QTest::addColumn<int>("rateHz");
        for (const int rateHz : {8000, 22050, 44100, 48000, 96000, 192000})
            QTest::addRow("%d Hz", rateHz) << rateHz;
    }

    void staysNearTheFormulasInDoublePrecision()
    {
        QFETCH(int, rateHz);
        SpectrumAnalyser bank(rateHz);
        SlowBank slow(rateHz);
        QList<float> signal = signal_makers::noise(rateHz / 2, 5, 0.5F);
        const QList<float> tone = signal_makers::sine(rateHz / 2, 997, rateHz, 0.9F);
        for (qsizetype i = 0; i < signal.size(); ++i)
            signal[i] += tone[i];
        process(bank, signal);
        slow.process(signal);
        for (int k = 0; k < kBands; ++k) {
            const double apart = decibels(bank.power(k)) - decibels(slow.power(k));
            QVERIFY2(std::abs(apart) < 0.05,
                     qPrintable(QStringLiteral("band %1: %2 dB").arg(k).arg(apart)));
        }
    }

    void howTheSamplesAreCutUpMakesNoDifference()
    {
        const QList<float> signal = signal_makers::noise(5000, 21);
        SpectrumAnalyser whole;
        process(whole, signal);
        SpectrumAnalyser cut;
        for (int begin = 0, size = 1; begin < 5000; begin += size, size = size * 2 % 997 + 1) {
            size = qMin(size, 5000 - begin);
            cut.process(signal.constData() + begin, size);
        }
        compareAllBands(cut, whole);
    }

    void aFullScaleSineReadsAsTheClosedFormOfTheStages_data()
    {
        QTest::addColumn<int>("band");
        QTest::addColumn<double>("ratio");
        for (const int band : {0, 20, 64, 128, 200, 250, 255}) {
            for (const double ratio : {1.0, 1.01, 0.97}) {
                QTest::addRow("band %d at %g of its centre", band, ratio) << band << ratio;
            }
        }
    }

    void aFullScaleSineReadsAsTheClosedFormOfTheStages()
    {
        QFETCH(int, band);
        QFETCH(double, ratio);
        SpectrumAnalyser bank;
        const double hz = bandHz(band) * ratio;
        process(bank, signal_makers::sine(settlingSamples(band), hz, kRateHz));
        const double apart =
            decibels(bank.power(band)) - decibels(closedFormPower(band, hz - bandHz(band)));
        QVERIFY2(std::abs(apart) < 1.0, qPrintable(QString::number(apart)));
    }

    void aSineAtABandsCentreLightsItMoreThanAnyTwoAway()
    {
        for (int band = 0; band < kBands; ++band) {
            SpectrumAnalyser bank;
            process(bank, signal_makers::sine(settlingSamples(band), bandHz(band), kRateHz));
            for (int other = 0; other < kBands; ++other) {
                if (std::abs(other - band) >= 2) {
                    QVERIFY2(bank.power(other) < bank.power(band),
                             qPrintable(QStringLiteral("%1 over %2").arg(other).arg(band)));
                }
            }
            requireClosedFormAround(bank, band);
        }
    }

    void whiteNoiseIsFlatPerTheBandsWidths()
    {
        constexpr int kBlock = 4096;
        constexpr int kBlocks = 1024;
        constexpr int kGroup = 32;
        SpectrumAnalyser bank;
        std::array<double, kBands> sum{};
        for (int block = 0; block < kBlocks; ++block) {
            process(bank, signal_makers::noise(kBlock, static_cast<quint32>(block)));
            for (int k = 0; k < kBands && block >= 64; ++k)
                sum[static_cast<size_t>(k)] += bank.power(k);
        }
        // Evenly spread over ±1, the noise has a variance of a third.
        for (int group = 0; group < kBands; group += kGroup) {
            double mean = 0;
            for (int k = group; k < group + kGroup; ++k) {
                const double share = sum[static_cast<size_t>(k)] / (kBlocks - 64) / noisePower(k);
                QVERIFY2(std::abs(decibels(share * 3)) < 1.0,
                         qPrintable(QStringLiteral("band %1: %2").arg(k).arg(share * 3)));
                mean += share / kGroup;
            }
            QVERIFY2(std::abs(mean * 3 - 1) < 0.1,
                     qPrintable(QStringLiteral("bands from %1: %2").arg(group).arg(mean * 3)));
        }
    }

    void tenMinutesOfSignalShiftNoBand()
    {
        constexpr int kSecond = 44100;
        // 441 Hz repeats after 100 samples, so one second can be played again and again.
        const QList<float> second = signal_makers::sine(kSecond, 441, kRateHz);
        SpectrumAnalyser bank;
        for (int i = 0; i < 8; ++i)
            process(bank, second);
        std::array<double, kBands> early{};
        for (int k = 0; k < kBands; ++k)
            early[static_cast<size_t>(k)] = bank.power(k);
        for (int i = 8; i < 600; ++i)
            process(bank, second);
        for (int k = 0; k < kBands; ++k) {
            QVERIFY(std::abs(bank.phasorMagnitude(k) - 1) < 1e-4);
            if (early[static_cast<size_t>(k)] > 1e-8) {
                const double apart =
                    decibels(bank.power(k)) - decibels(early[static_cast<size_t>(k)]);
                QVERIFY2(std::abs(apart) < 0.5,
                         qPrintable(QStringLiteral("band %1: %2 dB").arg(k).arg(apart)));
            }
        }
        for (int band = 0; band < kBands; band += 17) {
            SpectrumAnalyser aged = bank;
            process(aged, signal_makers::sine(settlingSamples(band), bandHz(band), kRateHz));
            requireClosedFormAround(aged, band);
        }
    }

    void phasorsAreOfLengthOneAfterEvery512Samples()
    {
        SpectrumAnalyser bank;
        process(bank, QList<float>(qsizetype{7} * 512));
        for (int k = 0; k < kBands; ++k)
            QVERIFY(std::abs(bank.phasorMagnitude(k) - 1) < 2e-7);
    }

    void samplesThatAreNotFiniteCountAsSilence_data()
    {
        QTest::addColumn<float>("sample");
        QTest::newRow("not a number") << std::numeric_limits<float>::quiet_NaN();
        QTest::newRow("infinite") << std::numeric_limits<float>::infinity();
        QTest::newRow("negative infinite") << -std::numeric_limits<float>::infinity();
        QTest::newRow("denormal") << std::numeric_limits<float>::denorm_min();
    }

    void samplesThatAreNotFiniteCountAsSilence()
    {
        QFETCH(float, sample);
        QList<float> damaged = signal_makers::noise(3000, 4);
        QList<float> silenced = damaged;
        for (qsizetype i = 700; i < 1300; i += 3) {
            damaged[i] = sample;
            silenced[i] = 0;
        }
        SpectrumAnalyser bank;
        process(bank, damaged);
        SpectrumAnalyser expected;
        process(expected, silenced);
        compareAllBands(bank, expected);
    }

    void overflowingStagesRecover()
    {
        SpectrumAnalyser bank;
        const float loudest = std::numeric_limits<float>::max();
        QList<float> square(4096);
        for (qsizetype i = 0; i < square.size(); ++i)
            square[i] = i / 50 % 2 == 0 ? loudest : -loudest;
        process(bank, square);
        process(bank, QList<float>(static_cast<qsizetype>(20 * kRateHz)));
        process(bank, signal_makers::sine(settlingSamples(128), bandHz(128), kRateHz));
        QVERIFY(std::abs(decibels(bank.power(128)) - decibels(0.25)) < 1);
        for (int k = 0; k < kBands; ++k)
            QVERIFY(std::isfinite(bank.power(k)));
    }

    void afterASignalSilenceDecaysToExactlyNothing()
    {
        SpectrumAnalyser bank;
        process(bank, signal_makers::noise(20000, 9));
        process(bank, QList<float>(static_cast<qsizetype>(20 * kRateHz)));
        for (int k = 0; k < kBands; ++k)
            QVERIFY(bank.power(k) == 0.0); // a comparison would be fuzzy
    }

    void aRateBelowOneStillGivesABank()
    {
        SpectrumAnalyser bank(0);
        process(bank, signal_makers::noise(1000, 2));
        for (int k = 0; k < kBands; ++k)
            QVERIFY(std::isfinite(bank.power(k)));
    }
};

QTEST_APPLESS_MAIN(TestSpectrumAnalyser)
#include "tst_spectrumanalyser.moc"
