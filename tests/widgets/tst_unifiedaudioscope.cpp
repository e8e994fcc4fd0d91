#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/unifiedaudioscope.h"

#include <QActionGroup>
#include <QContextMenuEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QTest>
#include <QTimer>

#include <memory>

using Mode = UnifiedAudioScope::Mode;
Q_DECLARE_METATYPE(UnifiedAudioScope::Mode)

namespace {

constexpr QRgb kBlack = qRgb(0, 0, 0);
constexpr QRgb kEmpty = qRgb(34, 34, 34);
constexpr QRgb kSingleTrace = qRgb(220, 0, 255);

void push(UnifiedAudioScope& scope, int channel, const QList<float>& samples)
{
    scope.push(channel, samples.constData(), static_cast<int>(samples.size()));
}

std::unique_ptr<UnifiedAudioScope> shownScope(QSize size)
{
    auto scope = std::make_unique<UnifiedAudioScope>();
    scope->resize(size);
    scope->show();
    return scope;
}

QTimer* tickTimer(UnifiedAudioScope& scope)
{
    return scope.findChild<QTimer*>();
}

/// The context menu, asked for as the Menu key does.
QPointer<QMenu> openMenu(UnifiedAudioScope& scope)
{
    QContextMenuEvent event(QContextMenuEvent::Keyboard, scope.rect().center(),
                            scope.mapToGlobal(scope.rect().center()));
    QCoreApplication::sendEvent(&scope, &event);
    return scope.findChild<QMenu*>();
}

bool isAll(const QImage& image, QRgb colour)
{
    QImage plain(image.size(), QImage::Format_RGB32);
    plain.fill(colour);
    return image == plain;
}

/// A window with the scope second of three in a row.
struct Window {
    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    QHBoxLayout* row = new QHBoxLayout(window.get());
    QPointer<UnifiedAudioScope> scope = new UnifiedAudioScope;

    Window()
    {
        row->addWidget(new QWidget, 1);
        row->addWidget(scope, 5);
        row->addWidget(new QWidget, 1);
        window->resize(600, 200);
        window->show();
    }

    void doubleClickScope() const
    {
        QTest::mouseDClick(static_cast<QWidget*>(scope), Qt::LeftButton);
    }

    [[nodiscard]] bool isScopeInPlace() const
    {
        return !scope->isPoppedOut() && row->indexOf(scope) == 1 && row->stretch(1) == 5 &&
               row->count() == 3 && scope->isVisible();
    }
};

} // namespace

class TestUnifiedAudioScope : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        // The screenless platform says so about some of what a window may ask of it.
        m_log->tolerate(QtWarningMsg, QStringLiteral("This plugin does not support"));
        m_log->tolerate(QtDebugMsg, QStringLiteral("This plugin does not support"));
    }

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
        Window w;
        QTRY_COMPARE(tickTimer(*w.scope)->interval(), 50);
        w.scope->hide();
        QTRY_VERIFY(!tickTimer(*w.scope)->isActive());
        push(*w.scope, 0, QList<float>(10));
        w.scope->show();
        QVERIFY(tickTimer(*w.scope)->isActive());
        QTRY_VERIFY(!isAll(w.scope->frame(), kBlack));
    }

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
        // 100 samples a period: 255 × ln(Hz / 20) / ln(1000)
        QTest::newRow("441 Hz at 44100") << 44100 << 114;
        QTest::newRow("480 Hz at 48000") << 48000 << 117;
        QTest::newRow("220.5 Hz at 22050") << 22050 << 89;
        QTest::newRow("1920 Hz at 192000") << 192000 << 168;
    }

    void aNewSampleRateMovesTheBands()
    {
        QFETCH(int, rateHz);
        QFETCH(int, band);
        const auto scope = shownScope({512, 256});
        scope->setMode(Mode::Spectrum);
        scope->setSampleRate(rateHz);
        push(*scope, 0, signal_makers::sine(16000, 1, 100));
        const auto brightness = [&scope](int row) {
            const QRgb pixel = scope->frame().pixel(511, row);
            return qRed(pixel) * 3 + qGreen(pixel) * 2 + qBlue(pixel);
        };
        QTRY_VERIFY(brightness(255 - band) > 0);
        int brightest = 0;
        for (int row = 0; row < 256; ++row)
            brightest = brightness(row) > brightness(brightest) ? row : brightest;
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

    void aDoubleClickPopsOutAndAnotherRestoresInEveryMode_data()
    {
        QTest::addColumn<Mode>("mode");
        QTest::newRow("wave") << Mode::Wave;
        QTest::newRow("spectrum") << Mode::Spectrum;
        QTest::newRow("level") << Mode::Level;
    }

    void aDoubleClickPopsOutAndAnotherRestoresInEveryMode()
    {
        QFETCH(Mode, mode);
        Window w;
        w.scope->setMode(mode);
        for (int i = 0; i < 10; ++i) {
            w.doubleClickScope();
            QVERIFY(w.scope->isPoppedOut() && w.scope->isWindow());
            QCOMPARE(w.scope->windowTitle(), "Audio Scope");
            QCOMPARE(w.scope->size(), QSize(640, 360));
            QCOMPARE(w.window->findChild<QLabel*>()->minimumSize(), QSize(160, 90));
            push(*w.scope, 0, signal_makers::noise(500, 1));
            w.doubleClickScope();
            QVERIFY(w.isScopeInPlace());
            QCOMPARE(w.scope->mode(), mode);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        QVERIFY(tickTimer(*w.scope)->isActive());
    }

    void returnPopsOutAndRestoresAsADoubleClickDoes()
    {
        Window w;
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
            QTest::keyClick(static_cast<QWidget*>(w.scope), key);
            QVERIFY(w.scope->isPoppedOut());
            QTest::keyClick(static_cast<QWidget*>(w.scope), key);
            QVERIFY(w.isScopeInPlace());
        }
        w.scope->setPopOutAllowed(false);
        QTest::keyClick(static_cast<QWidget*>(w.scope), Qt::Key_Return);
        QVERIFY(!w.scope->isPoppedOut());
    }

    void assistiveTechnologyIsToldWhatIsShown()
    {
        UnifiedAudioScope scope;
        QCOMPARE(scope.accessibleName(), "Audio scope");
        QVERIFY(scope.accessibleDescription().startsWith("Scrolling oscilloscope"));
        scope.setMode(Mode::Level);
        QVERIFY(scope.accessibleDescription().startsWith("VU meter"));
    }

    void poppedOutItTicksOnWhileItsFormerWindowIsHidden()
    {
        Window w;
        w.doubleClickScope();
        w.window->hide();
        push(*w.scope, 0, QList<float>(10, 0.5F));
        QTRY_COMPARE(w.scope->frame().pixel(639, 91), kSingleTrace);
    }

    void onlyTheLeftButtonPopsOutAndOnlyWhenAllowed()
    {
        Window w;
        QTest::mouseDClick(static_cast<QWidget*>(w.scope), Qt::RightButton);
        QVERIFY(!w.scope->isPoppedOut());
        w.scope->setPopOutAllowed(false);
        w.doubleClickScope();
        QVERIFY(!w.scope->isPoppedOut());
    }

    void withoutAParentADoubleClickDoesNothing()
    {
        const auto scope = shownScope({160, 90});
        QTest::mouseDClick(static_cast<QWidget*>(scope.get()), Qt::LeftButton);
        QVERIFY(!scope->isPoppedOut());
        QCOMPARE(scope->size(), QSize(160, 90));
    }

    void closingThePoppedOutWindowRestores()
    {
        Window w;
        w.doubleClickScope();
        QVERIFY(w.scope->close());
        QTRY_VERIFY(w.isScopeInPlace());
    }

    void poppedOutItDoesNotKeepTheApplicationAlive()
    {
        Window w;
        w.doubleClickScope();
        QVERIFY(w.scope->isVisible());
        QTimer::singleShot(0, w.window.get(), &QWidget::close);
        constexpr int kStillAlive = 1;
        QTimer::singleShot(5000, qApp, [] { QCoreApplication::exit(kStillAlive); });
        QCOMPARE(QCoreApplication::exec(), 0);
    }

    void withItsFormerWindowThePoppedOutScopeIsDeleted()
    {
        Window w;
        w.doubleClickScope();
        w.window.reset();
        QVERIFY(w.scope.isNull());
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

    void whatIsPaintedIsTheFrameWithItsLabels()
    {
        const auto scope = shownScope({160, 90});
        scope->setChannelCount(2);
        push(*scope, 0, QList<float>(160, 0.25F));
        push(*scope, 1, QList<float>(160, -0.25F));
        QTRY_VERIFY(!isAll(scope->frame(), kBlack));
        const QImage painted = scope->grab().toImage().convertToFormat(QImage::Format_RGB32);
        // Nothing is written in the middle of the width.
        const QRect middle(50, 0, 50, 90);
        QCOMPARE(painted.copy(middle), scope->frame().copy(middle));
        QVERIFY(painted.copy(0, 0, 40, 14) != scope->frame().copy(0, 0, 40, 14));
        QVERIFY(painted.copy(0, 45, 40, 14) != scope->frame().copy(0, 45, 40, 14));
        QVERIFY(painted.copy(110, 74, 50, 16) != scope->frame().copy(110, 74, 50, 16));
    }
};

QTEST_MAIN(TestUnifiedAudioScope)
#include "tst_unifiedaudioscope.moc"
