#include "scopehelpers.h"
#include "support/logcatcher.h"
#include "support/paintcounter.h"
#include "support/signalmakers.h"
#include "widgets/scopelayout.h"
#include "widgets/unifiedaudioscope.h"

#include <QActionGroup>
#include <QMenu>
#include <QPainter>
#include <QTest>
#include <QTimer>

#include <memory>

using Mode = UnifiedAudioScope::Mode;
Q_DECLARE_METATYPE(UnifiedAudioScope::Mode)

namespace {

using namespace scope_helpers;

constexpr QRgb kSingleTrace = qRgb(220, 0, 255);

} // namespace

class TestUnifiedAudioScope : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void startsAsAnOscilloscopeOfOneChannel()
    {
        UnifiedAudioScope scope;
        QCOMPARE(scope.mode(), Mode::Wave);
        QCOMPARE(scope.channelCount(), 1);
        QCOMPARE(scope.sampleRate(), 44100);
        QVERIFY(!scope.isFrozen() && !scope.isPoppedOut() && scope.isPopOutAllowed());
        QCOMPARE(scope.sizeHint(), QSize(320, 180));
        QCOMPARE(scope.minimumSizeHint(), QSize(160, 90));
        QCOMPARE(scope.traceColour(0), QColor(220, 0, 255));
        QVERIFY(!scope.accessibleName().isEmpty());
        QVERIFY((scope.focusPolicy() & Qt::TabFocus) != 0);
        QCOMPARE(tickTimer(scope)->interval(), 100);
        QVERIFY(tickTimer(scope)->isActive() && tickTimer(scope)->isSingleShot());
    }

    void theModesHaveTheirNumbersAndIntervals()
    {
        QCOMPARE(static_cast<qint32>(Mode::Wave), 0);
        QCOMPARE(static_cast<qint32>(Mode::Spectrum), 1);
        QCOMPARE(static_cast<qint32>(Mode::Level), 2);
        QCOMPARE(UnifiedAudioScope::tickIntervalMs(Mode::Wave), 50);
        QCOMPARE(UnifiedAudioScope::tickIntervalMs(Mode::Spectrum), 200);
        QCOMPARE(UnifiedAudioScope::tickIntervalMs(Mode::Level), 75);
        QCOMPARE(UnifiedAudioScope::tickIntervalMs(static_cast<Mode>(7)), 100);
    }

    void aTickArmsTheNextWithTheIntervalOfItsMode()
    {
        const auto scope = shownScope({160, 90});
        for (const Mode mode : {Mode::Wave, Mode::Spectrum, Mode::Level}) {
            scope->setMode(mode);
            QTRY_COMPARE(tickTimer(*scope)->interval(), UnifiedAudioScope::tickIntervalMs(mode));
        }
    }

    void setChannelCountGivesAtLeastOne()
    {
        UnifiedAudioScope scope;
        for (const int count : {0, -4, 1}) {
            scope.setChannelCount(3);
            scope.setChannelCount(count);
            QCOMPARE(scope.channelCount(), 1);
            QCOMPARE(scope.traceColour(0), QColor(220, 0, 255));
        }
    }

    void severalChannelsGetColoursOfTheirOwn()
    {
        UnifiedAudioScope scope;
        scope.setChannelCount(2);
        QCOMPARE(scope.traceColour(0), QColor::fromRgb(QColor::fromHsv(75, 220, 220).rgb()));
        QCOMPARE(scope.traceColour(1), QColor::fromRgb(QColor::fromHsv(165, 220, 220).rgb()));
        scope.setChannelCount(5);
        QCOMPARE(scope.traceColour(1), QColor::fromRgb(QColor::fromHsv(97, 220, 220).rgb()));
        QCOMPARE(scope.traceColour(4), QColor::fromRgb(QColor::fromHsv(165, 220, 220).rgb()));
    }

    void theOscilloscopeDrawsOneColumnPerSample()
    {
        const auto scope = shownScope({200, 50});
        QVERIFY(isAll(scope->frame(), kBlack));
        push(*scope, 0, QList<float>(30, 0.5F));
        QTRY_VERIFY(!isAll(scope->frame(), kBlack));
        for (int x = 0; x < 200; ++x)
            QCOMPARE(scope->frame().pixel(x, 13), x < 170 ? kBlack : kSingleTrace);
    }

    void theTraceIsJoinedAcrossTicks()
    {
        const auto scope = shownScope({200, 50});
        push(*scope, 0, QList<float>(1, 0.0F));
        QTRY_COMPARE(scope->frame().pixel(199, 25), kSingleTrace);
        push(*scope, 0, QList<float>(1, 1.0F)); // 24 rows above the middle
        QTRY_COMPARE(scope->frame().pixel(199, 1), kSingleTrace);
        for (int y = 0; y < 50; ++y)
            QCOMPARE(scope->frame().pixel(199, y), y < 1 || y > 24 ? kBlack : kSingleTrace);
    }

    void pushIgnoresWhatHasNoChannelSamplesOrCount()
    {
        const auto scope = shownScope({200, 90});
        scope->setChannelCount(2);
        const QList<float> loud(40, 1.0F);
        push(*scope, -1, loud);
        push(*scope, 2, loud);
        scope->push(0, nullptr, 40);
        scope->push(0, loud.constData(), 0);
        scope->push(0, loud.constData(), -5);
        push(*scope, 1, QList<float>(10));
        const QRgb second = scope->traceColour(1).rgb();
        QTRY_COMPARE(scope->frame().pixel(199, 67), second);
        QCOMPARE(scope->frame().pixel(189, 67), kBlack);
        QVERIFY(isAll(scope->frame().copy(0, 0, 200, 45), kBlack));
    }

    void aNewChannelCountEmptiesTheQueues()
    {
        const auto scope = shownScope({200, 90});
        push(*scope, 0, QList<float>(40, 1.0F));
        scope->setChannelCount(2);
        push(*scope, 1, QList<float>(10));
        QTRY_COMPARE(scope->frame().pixel(199, 67), scope->traceColour(1).rgb());
        QVERIFY(isAll(scope->frame().copy(0, 0, 200, 45), kBlack));
    }

    void theSameChannelCountChangesNothing()
    {
        const auto scope = shownScope({200, 50});
        push(*scope, 0, QList<float>(30, 0.5F));
        QTRY_VERIFY(!isAll(scope->frame(), kBlack));
        push(*scope, 0, QList<float>(20, 0.5F));
        const QImage before = scope->frame().copy();
        scope->setChannelCount(1);
        QCOMPARE(scope->frame(), before);
        QTRY_COMPARE(scope->frame().pixel(150, 13), kSingleTrace);
        QCOMPARE(scope->frame().pixel(149, 13), kBlack);
    }

    void onlyWhatHasChangedIsPaintedAnew()
    {
        const auto scope = shownScope({200, 50});
        int ticks = 0;
        connect(tickTimer(*scope), &QTimer::timeout, this, [&ticks] { ++ticks; });
        QVERIFY(QTest::qWaitForWindowExposed(scope.get()));
        QTRY_VERIFY(ticks >= 1);
        PaintCounter paints(*scope);
        QTRY_VERIFY(ticks >= 3);
        QCOMPARE(paints.count(), 0);
        push(*scope, 0, QList<float>(1));
        QTRY_COMPARE(paints.count(), 1);
    }

    void aHiddenScopeOfItsOwnTicksOn()
    {
        const auto scope = shownScope({200, 50});
        scope->hide();
        push(*scope, 0, QList<float>(30, 0.5F));
        QTRY_COMPARE(scope->frame().pixel(199, 13), kSingleTrace);
    }

    void aFrozenScopeKeepsItsPicture()
    {
        const auto scope = shownScope({200, 50});
        push(*scope, 0, QList<float>(30, 0.5F));
        QTRY_VERIFY(!isAll(scope->frame(), kBlack));
        scope->setFrozen(true);
        const QImage before = scope->frame().copy();
        push(*scope, 0, QList<float>(30, -0.5F));
        int ticks = 0;
        connect(tickTimer(*scope), &QTimer::timeout, this, [&ticks] { ++ticks; });
        QTRY_VERIFY(ticks >= 2);
        QCOMPARE(scope->frame(), before);
        scope->setFrozen(false);
        push(*scope, 0, QList<float>(3));
        QTRY_COMPARE(scope->frame().pixel(199, 25), kSingleTrace);
        // What came while it was frozen is not made up for.
        QCOMPARE(scope->frame().pixel(196, 13), kSingleTrace);
    }

    void aHiddenEmbeddedScopeStopsTickingUntilItIsShown()
    {
        QWidget window;
        window.resize(200, 100);
        UnifiedAudioScope scope(&window);
        window.show();
        QTRY_COMPARE(tickTimer(scope)->interval(), 50);
        scope.hide();
        QTRY_VERIFY(!tickTimer(scope)->isActive());
        push(scope, 0, QList<float>(10));
        scope.show();
        QVERIFY(tickTimer(scope)->isActive());
        QTRY_VERIFY(!isAll(scope.frame(), kBlack));
    }

    void theLevelMeterShowsEachChannelInItsCell()
    {
        const auto scope = shownScope({322, 180});
        scope->setChannelCount(2);
        scope->setMode(Mode::Level);
        QVERIFY(isAll(scope->frame(), kEmpty));
        push(*scope, 1, QList<float>(16000, 0.75F));
        const auto foot = [&scope](int x) { return scope->frame().pixel(x, 179); };
        QTRY_COMPARE(foot(200), qRgb(250, 154, 0));
        QCOMPARE(foot(100), kEmpty);
        QCOMPARE(scope->frame().pixel(200, 40), kEmpty);
    }

    void theMeterFallsWhenNothingMoreComes()
    {
        const auto scope = shownScope({160, 90});
        scope->setMode(Mode::Level);
        // Too short for the mean level to show.
        push(*scope, 0, QList<float>(10, 0.04F));
        QTRY_VERIFY(!isAll(scope->frame(), kEmpty));
        QTRY_VERIFY(isAll(scope->frame(), kEmpty));
    }

    void theMeterFallsWhileSilenceComes()
    {
        const auto scope = shownScope({160, 90});
        scope->setMode(Mode::Level);
        push(*scope, 0, QList<float>(10, 0.04F));
        QTRY_VERIFY(!isAll(scope->frame(), kEmpty));
        const QList<float> silence(1024, 0.0F);
        QTRY_VERIFY((push(*scope, 0, silence), isAll(scope->frame(), kEmpty)));
    }

    void theContextMenuOffersTheModes()
    {
        const auto scope = shownScope({160, 90});
        scope->setMode(Mode::Level);
        const QPointer<QMenu> menu = openMenu(*scope);
        QVERIFY(menu != nullptr && menu->isVisible() && menu->toolTipsVisible());
        const QList<QAction*> actions = menu->actions();
        QCOMPARE(actions.size(), 3);
        const QStringList texts{"Waveform", "Spectrum", "Level"};
        const QStringList toolTips{"Scrolling oscilloscope showing signal amplitude over time",
                                   "Scrolling spectrogram showing frequency content over time",
                                   "VU meter showing RMS and peak signal level"};
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(actions[i]->text(), texts[i]);
            QCOMPARE(actions[i]->toolTip(), toolTips[i]);
            QVERIFY(actions[i]->isCheckable());
            QCOMPARE(actions[i]->isChecked(), i == 2);
            QVERIFY(actions[i]->actionGroup()->isExclusive());
        }
        actions[1]->trigger();
        QCOMPARE(scope->mode(), Mode::Spectrum);
        QVERIFY(isAll(scope->frame(), kBlack));
        menu->close();
        QTRY_VERIFY(menu.isNull());
    }

    void choosingTheModeAgainClearsThePicture()
    {
        const auto scope = shownScope({200, 50});
        push(*scope, 0, QList<float>(30, 0.5F));
        QTRY_VERIFY(!isAll(scope->frame(), kBlack));
        scope->setMode(Mode::Wave);
        QVERIFY(!isAll(scope->frame(), kBlack));
        openMenu(*scope)->actions().constFirst()->trigger();
        QVERIFY(isAll(scope->frame(), kBlack));
    }

    void assistiveTechnologyIsToldWhatIsShown()
    {
        UnifiedAudioScope scope;
        QCOMPARE(scope.accessibleName(), "Audio scope");
        QVERIFY(scope.accessibleDescription().startsWith("Scrolling oscilloscope"));
        scope.setMode(Mode::Level);
        QVERIFY(scope.accessibleDescription().startsWith("VU meter"));
    }

    // Run again with everything at twice the scale.
    void theFrameHasOneColumnPerPixelOfTheScreen()
    {
        const auto scope = shownScope({160, 90});
        const int scale = qRound(scope->devicePixelRatioF());
        QCOMPARE(scope->frame().size(), QSize(160, 90) * scale);
        push(*scope, 0, QList<float>(30, 0.5F));
        QTRY_VERIFY(!isAll(scope->frame(), kBlack));
        // half of (height − 2) / 2 rows above the middle
        const int row = 45 * scale - (45 * scale - 1) / 2;
        for (int x = 0; x < 160 * scale; ++x)
            QCOMPARE(scope->frame().pixel(x, row), x < 160 * scale - 30 ? kBlack : kSingleTrace);

        scope->setMode(Mode::Level);
        scope->setChannelCount(2);
        push(*scope, 0, QList<float>(16000, 1.0F));
        QTRY_VERIFY(scope->frame().pixel(79 * scale - 1, 0) != kEmpty);
        const QImage painted = scope->grab().toImage().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(painted.size(), scope->frame().size());
        for (int x = 0; x < 160 * scale; ++x) {
            QCOMPARE(painted.pixel(x, 60 * scale), scope->frame().pixel(x, 60 * scale));
            QCOMPARE(painted.pixel(x, 60 * scale) == kEmpty, x >= 79 * scale);
        }
    }

    void resizingStartsAFreshPictureOfTheNewSize()
    {
        const auto scope = shownScope({200, 50});
        push(*scope, 0, QList<float>(30, 0.5F));
        QTRY_VERIFY(!isAll(scope->frame(), kBlack));
        scope->resize(1600, 300);
        QCOMPARE(scope->frame().size(), QSize(1600, 300));
        QVERIFY(isAll(scope->frame(), kBlack));
    }

    void whatIsPaintedIsTheFrameWithItsLabels_data()
    {
        QTest::addColumn<Mode>("mode");
        QTest::addColumn<QRect>("firstChannel");
        QTest::addColumn<QRect>("secondChannel");
        QTest::addColumn<QString>("name");
        QTest::newRow("wave: lanes")
            << Mode::Wave << QRect(0, 0, 160, 45) << QRect(0, 45, 160, 45) << "Wave";
        QTest::newRow("spectrum: cells")
            << Mode::Spectrum << QRect(0, 0, 79, 90) << QRect(81, 0, 79, 90) << "Spectrum";
        QTest::newRow("level: cells")
            << Mode::Level << QRect(0, 0, 79, 90) << QRect(81, 0, 79, 90) << "Level";
    }

    void whatIsPaintedIsTheFrameWithItsLabels()
    {
        QFETCH(Mode, mode);
        QFETCH(QRect, firstChannel);
        QFETCH(QRect, secondChannel);
        QFETCH(QString, name);
        const auto scope = shownScope({160, 90});
        scope->setChannelCount(2);
        scope->setMode(mode);
        const QImage before = scope->frame().copy();
        push(*scope, 0, QList<float>(160, 0.25F));
        push(*scope, 1, QList<float>(160, -0.25F));
        QTRY_VERIFY(scope->frame() != before);
        const QPixmap painted = scope->grab();
        QPixmap expected = QPixmap::fromImage(scope->frame());
        {
            QPainter painter(&expected);
            painter.setFont(scope->font());
            const auto topLeft = Qt::AlignLeft | Qt::AlignTop;
            scope_layout::paintText(painter, firstChannel, topLeft, QStringLiteral("Ch 1"));
            scope_layout::paintText(painter, secondChannel, topLeft, QStringLiteral("Ch 2"));
            scope_layout::paintText(painter, scope->rect(), Qt::AlignRight | Qt::AlignBottom, name);
        }
        QCOMPARE(painted.toImage().convertToFormat(QImage::Format_RGB32),
                 expected.toImage().convertToFormat(QImage::Format_RGB32));
    }
};

QTEST_MAIN(TestUnifiedAudioScope)
#include "tst_unifiedaudioscope.moc"
