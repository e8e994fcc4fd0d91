#include "scopehelpers.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/unifiedaudioscope.h"

#include <QTest>

#include <functional>
#include <memory>

using Mode = UnifiedAudioScope::Mode;
Q_DECLARE_METATYPE(UnifiedAudioScope::Mode)

namespace {

using namespace scope_helpers;

/// 100 samples a period: with 44100 samples a second 441 Hz, which is band 114.
QList<float> tone()
{
    return signal_makers::sine(16000, 1, 100);
}

constexpr int kToneRow = 255 - 114;

/// How much of a signal a pixel of the spectrogram shows; 0 is none.
int brightness(QRgb pixel)
{
    return qRed(pixel) * 3 + qGreen(pixel) * 2 + qBlue(pixel);
}

} // namespace

/// The scope as a spectrogram.
class TestScopeSpectrum : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void silenceIsBlackInTheSpectrogram()
    {
        const auto scope = shownScope({160, 90});
        scope->setMode(Mode::Spectrum);
        push(*scope, 0, QList<float>(8820));
        QTRY_COMPARE(tickTimer(*scope)->interval(), 200);
        QVERIFY(isAll(scope->frame(), kBlack));
    }

    void aNewSampleRateMovesTheBands_data()
    {
        QTest::addColumn<int>("rateHz");
        QTest::addColumn<int>("band");
        QTest::addColumn<Mode>("modeBefore");
        // 100 samples a period: 255 × ln(Hz / 20) / ln(1000)
        QTest::newRow("441 Hz at 44100") << 44100 << 114 << Mode::Spectrum;
        QTest::newRow("480 Hz at 48000") << 48000 << 117 << Mode::Spectrum;
        QTest::newRow("220.5 Hz at 22050") << 22050 << 89 << Mode::Spectrum;
        QTest::newRow("1920 Hz at 192000") << 192000 << 168 << Mode::Spectrum;
        QTest::newRow("960 Hz at 96000, set before the spectrum") << 96000 << 143 << Mode::Wave;
    }

    void aNewSampleRateMovesTheBands()
    {
        QFETCH(int, rateHz);
        QFETCH(int, band);
        QFETCH(Mode, modeBefore);
        const auto scope = shownScope({512, 256});
        scope->setMode(modeBefore);
        scope->setSampleRate(rateHz);
        scope->setMode(Mode::Spectrum);
        push(*scope, 0, tone());
        const auto newest = [&scope](int row) {
            return brightness(scope->frame().pixel(511, row));
        };
        QTRY_VERIFY(newest(255 - band) > 0);
        int brightest = 0;
        for (int row = 0; row < 256; ++row)
            brightest = newest(row) > newest(brightest) ? row : brightest;
        QVERIFY2(qAbs(255 - brightest - band) <= 1, qPrintable(QString::number(255 - brightest)));
    }

    void aSampleRateBelowOneIsIgnored()
    {
        UnifiedAudioScope scope;
        scope.setSampleRate(0);
        QCOMPARE(scope.sampleRate(), 44100);
        scope.setSampleRate(48000);
        QCOMPARE(scope.sampleRate(), 48000);
    }

    void channelsAddedToTheSpectrumAreAnalysedToo()
    {
        const auto scope = shownScope({514, 256});
        scope->setMode(Mode::Spectrum);
        scope->setChannelCount(2);
        push(*scope, 1, tone());
        QTRY_VERIFY(brightness(scope->frame().pixel(513, kToneRow)) > 0);
        QVERIFY(isAll(scope->frame().copy(0, 0, 256, 256), kBlack));
        QVERIFY(isAll(scope->frame().copy(256, 0, 2, 256), kEmpty));
    }

    void theGridsEmptyCellsAreGrey()
    {
        const auto scope = shownScope({322, 182});
        scope->setMode(Mode::Spectrum);
        scope->setChannelCount(3);
        for (const QPoint cell : {QPoint(0, 0), QPoint(162, 0), QPoint(0, 92)})
            QVERIFY(isAll(scope->frame().copy(QRect(cell, QSize(160, 90))), kBlack));
        QVERIFY(isAll(scope->frame().copy(160, 92, 162, 90), kEmpty));
    }

    void theSpectrogramGoesOnWithoutNewSamples()
    {
        const auto scope = shownScope({512, 256});
        scope->setMode(Mode::Spectrum);
        push(*scope, 0, tone());
        const auto lit = [&scope](int x) {
            return brightness(scope->frame().pixel(x, kToneRow)) > 0;
        };
        QTRY_VERIFY(lit(509));
        QVERIFY(lit(510) && lit(511));
        QVERIFY(!lit(400));
    }

    void whatPlacesTheBandsStartsTheSpectrogramAfresh()
    {
        using Action = std::function<void(UnifiedAudioScope&)>;
        const QList<Action> actions{
            [](UnifiedAudioScope& scope) { openMenu(scope)->actions().at(1)->trigger(); },
            [](UnifiedAudioScope& scope) {
                scope.setMode(Mode::Level);
                scope.setMode(Mode::Spectrum);
            },
            [](UnifiedAudioScope& scope) { scope.setSampleRate(48000); },
            [](UnifiedAudioScope& scope) { scope.setChannelCount(2); },
        };
        for (const Action& action : actions) {
            const auto scope = shownScope({512, 256});
            scope->setMode(Mode::Spectrum);
            push(*scope, 0, tone());
            QTRY_VERIFY(!isAll(scope->frame(), kBlack));
            action(*scope);
            const QRect history(0, 0, 512 / scope->channelCount() - 1, 256);
            QTRY_VERIFY(isAll(scope->frame().copy(history), kBlack));
        }
    }
};

QTEST_MAIN(TestScopeSpectrum)
#include "tst_scopespectrum.moc"
