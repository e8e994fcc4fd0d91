// A week of a scope that is looked at now and then, by a clock of the test's own.

#include "scopehelpers.h"
#include "support/logcatcher.h"
#include "widgets/levelballistics.h"
#include "widgets/levelmeterpainter.h"
#include "widgets/scopelayout.h"

#include <QTest>

#include <array>
#include <memory>
#include <random>

using namespace scope_helpers;
using Mode = UnifiedAudioScope::Mode;

namespace {

constexpr qint64 kSecondMs = 1000;
constexpr qint64 kHourMs = 3600 * kSecondMs;
constexpr qint64 kWeekMs = qint64{7} * 24 * kHourMs;
constexpr qint64 kLongestLookMs = 15 * kSecondMs;
constexpr int kBlockSamples = 64;
constexpr QSize kSizePx(8, 100);
constexpr int kHoldThicknessPx = 2;

/// The rule as the scope's user knows it, not as the code has it.
int expectedTickMs(Mode mode)
{
    if (mode == Mode::Wave)
        return 50;
    return mode == Mode::Spectrum ? 200 : 75;
}

/// What a meter shows that has heard and lived the same.
QImage expectedMeter(const LevelReading& reading)
{
    QImage image(kSizePx, QImage::Format_RGB32);
    image.fill(scope_layout::kEmptyArea);
    level_meter::paint(image, image.rect(), reading, kHoldThicknessPx);
    return image;
}

} // namespace

class TestScopeWeek : public QObject {
    Q_OBJECT

private:
    qint64 m_nowMs = 0;
    std::mt19937_64 m_random{31};
    LevelBallistics m_meter;
    std::unique_ptr<UnifiedAudioScope> m_scope;
    std::unique_ptr<LogCatcher> m_log;
    int m_fallen = 0;

    /// The event loop does not run: time passes here only.
    void fireTimer()
    {
        QTimer* const timer = tickTimer(*m_scope);
        timer->stop();
        QVERIFY(QMetaObject::invokeMethod(timer, "timeout"));
    }

    QList<float> nextBlock()
    {
        if (m_random() % 4 != 0)
            return {};
        QList<float> block(kBlockSamples, static_cast<float>(m_random() % 17) / 16.0F);
        return block;
    }

    void tickOnce()
    {
        m_nowMs += tickTimer(*m_scope)->interval();
        const QList<float> block = nextBlock();
        push(*m_scope, 0, block);
        fireTimer();
        QVERIFY(tickTimer(*m_scope)->isActive());
        QCOMPARE(tickTimer(*m_scope)->interval(), expectedTickMs(m_scope->mode()));
        if (m_scope->mode() != Mode::Level)
            return;
        const double before = m_meter.reading().displayedPeak;
        m_meter.addBlock(block.constData(), static_cast<qint32>(block.size()), m_nowMs);
        m_meter.advance(m_nowMs);
        m_fallen += m_meter.reading().displayedPeak < before ? 1 : 0;
        QVERIFY(m_scope->frame() == expectedMeter(m_meter.reading()));
    }

    void lookForAWhile()
    {
        constexpr std::array kModes{Mode::Wave, Mode::Spectrum, Mode::Level, Mode::Level};
        m_scope->show();
        QVERIFY(tickTimer(*m_scope)->isActive());
        m_scope->setMode(kModes[m_random() % kModes.size()]);
        const qint64 endMs = m_nowMs + static_cast<qint64>(m_random() % kLongestLookMs);
        while (m_nowMs < endMs && !QTest::currentTestFailed())
            tickOnce();
    }

    /// What was under way when it went out of sight is the last tick.
    void lookAway()
    {
        m_scope->hide();
        const QImage before = m_scope->frame();
        m_nowMs += tickTimer(*m_scope)->interval();
        fireTimer();
        QVERIFY(!tickTimer(*m_scope)->isActive());
        QVERIFY(m_scope->frame() == before);
        m_nowMs += static_cast<qint64>(m_random() % (2 * kHourMs));
    }

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup()
    {
        m_scope.reset();
        m_log.reset();
    }

    void ticksAndMetersGoByTheClock_data()
    {
        QTest::addColumn<qint64>("startMs");
        QTest::newRow("from the beginning") << qint64{0};
        QTest::newRow("across 2^31 ms") << (qint64{1} << 31) - kWeekMs / 2;
        QTest::newRow("across 2^32 ms") << (qint64{1} << 32) - kWeekMs / 2;
    }

    void ticksAndMetersGoByTheClock()
    {
        QFETCH(qint64, startMs);
        m_nowMs = startMs;
        m_meter = {};
        m_fallen = 0;
        QWidget window;
        m_scope = std::make_unique<UnifiedAudioScope>(&window, [this] { return m_nowMs; });
        m_scope->resize(kSizePx);
        window.show();
        while (m_nowMs < startMs + kWeekMs && !QTest::currentTestFailed()) {
            lookForAWhile();
            lookAway();
        }
        m_scope.reset();
        QVERIFY(m_fallen > 1000);
    }
};

QTEST_MAIN(TestScopeWeek)
#include "tst_scopeweek.moc"
