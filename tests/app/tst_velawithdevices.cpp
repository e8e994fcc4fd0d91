#include "app/iconbutton.h"
#include "app/vela.h"
#include "engine/velaengine.h"
#include "media/audio/warmup.h"
#include "media/devices/mediaplatform.h"
#include "support/logcatcher.h"
#include "support/paintcounter.h"
#include "support/signalmakers.h"
#include "support/soundserver.h"
#include "widgets/stereoseparationwidget.h"
#include "widgets/unifiedaudioscope.h"
#include "widgets/waveformview.h"

#include <QApplication>
#include <QIcon>
#include <QLabel>
#include <QSet>
#include <QTest>
#include <QTimer>

#include <memory>
#include <registerresources.h>

namespace {

constexpr int kPatienceMs = 15000;

} // namespace

/// The window while sound is played and recorded.
class TestVelaWithDevices : public QObject {
    Q_OBJECT

private:
    SoundServer m_server;
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<Vela> m_window;
    ProjectHandle m_project;

    [[nodiscard]] IconButton* button(const char* name) const
    {
        return m_window->findChild<IconButton*>(QString::fromLatin1(name));
    }

    [[nodiscard]] QString shownPosition() const
    {
        return m_window->findChild<QLabel*>(QStringLiteral("labelPosition"))->text();
    }

    [[nodiscard]] QString message() const
    {
        const auto* label = m_window->findChild<QLabel*>(QStringLiteral("labelActivity"));
        return label->isVisible() ? label->text() : QString();
    }

    void addSound(qsizetype frames) const
    {
        m_project->addTrack({}, 1)->samples[0] = signal_makers::constant(frames, 0.25F);
        m_window->updateTrackViews();
    }

    /// The window's own timer that ticks every 33 ms; null unless there is just one.
    [[nodiscard]] const QTimer* refreshTimer() const
    {
        QList<QTimer*> timers =
            m_window->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
        timers.removeIf([](const QTimer* timer) { return timer->interval() != 33; });
        return timers.size() == 1 ? timers.constFirst() : nullptr;
    }

    void setView(qint64 begin, qint64 end) const
    {
        m_project->viewStart = begin;
        m_project->viewEnd = end;
    }

    /// Where the cursor was when the view last moved; it goes on moving itself.
    const qint64& cursorAtPageTurn()
    {
        m_cursorAtPageTurn = -1;
        const auto* view = m_window->findChild<WaveformView*>();
        connect(view, &WaveformView::viewRangeChanged, this,
                [this] { m_cursorAtPageTurn = m_project->cursor.position; });
        return m_cursorAtPageTurn;
    }

    /// Recorded with the cursor at 77 before. The engine stops first, then it tells why,
    /// which is left to the test.
    TrackHandle takeThatTheEngineEnds()
    {
        addSound(3000);
        m_project->cursor.position = 77;
        button("pushButtonRecord")->click();
        const TrackHandle take = m_project->tracks.constLast();
        const auto hasMoved = [this] { return m_project->cursor.position > 77; };
        [&] { QVERIFY(QTest::qWaitFor(hasMoved, kPatienceMs)); }();
        m_window->engine()->stopRecording();
        return take;
    }

    qint64 m_cursorAtPageTurn = -1;

private slots:

    void initTestCase()
    {
        registerResources();
        QVERIFY(m_server.start());
        QVERIFY(isAudioWarm());
    }

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_log->tolerate(QtWarningMsg, QStringLiteral("This plugin does not support"));
        m_window = std::make_unique<Vela>();
        m_window->show();
        m_project = m_window->project();
    }

    void cleanup()
    {
        m_project.reset();
        m_window.reset();
        m_log.reset();
    }

    /// The toolkit keeps what each icon has drawn, so a new one each time would add up.
    void thePlayButtonShowsTheSameTwoIconsAgainAndAgain()
    {
        addSound(qsizetype{60} * 44100);
        IconButton* play = button("pushButtonPlayStop");
        QSet<qint64> shown;
        for (int i = 0; i < 6; ++i) {
            play->click();
            shown.insert(play->icon().cacheKey());
        }
        QCOMPARE(shown.size(), 2);
    }

    void thePlayButtonShowsPauseWhileItPlays()
    {
        addSound(qsizetype{60} * 44100);
        const auto drawn = [](const QIcon& icon) { return icon.pixmap(24, 24).toImage(); };
        IconButton* play = button("pushButtonPlayStop");
        play->click();
        QCOMPARE(drawn(play->icon()), drawn(QIcon(QStringLiteral(":/icons/media/pause.svg"))));
        play->click();
        QCOMPARE(drawn(play->icon()), drawn(QIcon(QStringLiteral(":/icons/media/play.svg"))));
    }

    void shiftAndSpaceLoopsOverTheSelectionAndSpaceAloneDoesNot()
    {
        addSound(qsizetype{60} * 44100);
        m_project->selectionStart = 5000;
        m_project->selectionEnd = 1000;
        m_project->cursor.position = 7000;
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        QTest::keyClick(m_window.get(), Qt::Key_Space, Qt::ShiftModifier);
        QVERIFY(m_project->playing);
        QVERIFY(m_project->looping);
        QCOMPARE(m_project->loopStart, 1000);
        QCOMPARE(m_project->loopEnd, 5000);
        QCOMPARE(m_project->cursor.position, 1000);
        button("pushButtonStop")->click();
        QTest::keyClick(m_window.get(), Qt::Key_Space);
        QVERIFY(m_project->playing);
        QVERIFY(!m_project->looping);
        QCOMPARE(m_project->loopStart, 0);
        QCOMPARE(m_project->loopEnd, 0);
        QCOMPARE(m_project->cursor.position, 1000);
        button("pushButtonStop")->click();
    }

    void playingMovesTheReadOutAndEndsByItself()
    {
        m_project->sampleRate = 48000;
        addSound(qsizetype{5} * 48000);
        IconButton* play = button("pushButtonPlayStop");
        play->click();
        QVERIFY(m_project->playing);
        QTRY_VERIFY_WITH_TIMEOUT(shownPosition() != QLatin1String("00:00:00.000"), kPatienceMs);
        QVERIFY(play->isChecked());
        QTRY_VERIFY_WITH_TIMEOUT(!play->isChecked(), kPatienceMs);
        QVERIFY(!m_project->playing);
        QCOMPARE(shownPosition(), "00:00:00.000");
    }

    void theTickRepaintsEveryWaveformViewWhileItPlays()
    {
        constexpr int kTicks = 10;
        addSound(qsizetype{60} * 44100);
        addSound(qsizetype{60} * 44100);
        const QList<WaveformView*> views = m_window->findChildren<WaveformView*>();
        QCOMPARE(views.size(), 2);
        const PaintCounter first(*views[0]);
        const PaintCounter second(*views[1]);
        button("pushButtonPlayStop")->click();
        QTRY_VERIFY_WITH_TIMEOUT(first.count() >= kTicks && second.count() >= kTicks, kPatienceMs);
        QVERIFY(m_project->playing);
        button("pushButtonStop")->click();
    }

    void theTimerRunsExactlyWhileItPlaysOrRecords()
    {
        addSound(qsizetype{60} * 44100);
        const QTimer* timer = refreshTimer();
        QVERIFY(timer != nullptr);
        QVERIFY(!timer->isSingleShot());
        QVERIFY(!timer->isActive());
        button("pushButtonPlayStop")->click();
        QVERIFY(timer->isActive());
        button("pushButtonRecord")->click();
        QVERIFY(m_project->playing && m_project->recording);
        button("pushButtonStop")->click();
        QVERIFY(m_project->recording);
        QVERIFY(timer->isActive());
        button("pushButtonRecord")->click();
        QVERIFY(!timer->isActive());
    }

    void escapeLeavesItPlaying()
    {
        addSound(qsizetype{60} * 44100);
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        button("pushButtonPlayStop")->click();
        QTest::keyClick(m_window.get(), Qt::Key_Escape);
        QTest::keyClick(m_window->findChild<WaveformView*>(), Qt::Key_Escape);
        QVERIFY(m_project->playing);
        QVERIFY(button("pushButtonPlayStop")->isChecked());
        QVERIFY(m_window->isVisible());
        button("pushButtonStop")->click();
    }

    void theScopeTakesRateAndChannelsFromTheOutputsFormat()
    {
        const auto* scope = m_window->findChild<UnifiedAudioScope*>();
        QCOMPARE(scope->channelCount(), 1);
        addSound(qsizetype{60} * 96000);
        for (const int rateHz : {22050, 96000}) {
            m_project->sampleRate = rateHz;
            button("pushButtonPlayStop")->click();
            QVERIFY(m_project->playing);
            QCOMPARE(scope->sampleRate(), rateHz);
            QCOMPARE(scope->channelCount(), 2);
            button("pushButtonStop")->click();
        }
    }

    void whatIsPlayedIsSeenOnScopeAndStereoView()
    {
        const TrackHandle track = m_project->addTrack({}, 2);
        track->samples = {signal_makers::constant(qsizetype{60} * 44100, 0.5F),
                          signal_makers::constant(qsizetype{60} * 44100, -0.25F)};
        m_window->updateTrackViews();
        const auto* scope = m_window->findChild<UnifiedAudioScope*>();
        button("pushButtonPlayStop")->click();
        // Two lanes of 90 rows: 45 − truncate(0.5 × 44) and 90 + 45 + truncate(0.25 × 44)
        const auto isSeen = [scope](int channel, int row) {
            const QImage& frame = scope->frame();
            return frame.pixel(frame.width() - 1, row) == scope->traceColour(channel).rgb();
        };
        QCOMPARE(scope->frame().height(), 180);
        QTRY_VERIFY_WITH_TIMEOUT(isSeen(0, 23) && isSeen(1, 146), kPatienceMs);
        auto* stereo = m_window->findChild<StereoSeparationWidget*>();
        const QImage picture = stereo->grab().toImage();
        // 25 − truncate(25 × 0.125) is what both have in common, 25 − truncate(25 × 0.375)
        // by how much the left is more
        QCOMPARE(picture.pixel(picture.width() - 1, 22), qRgb(0, 200, 0));
        QCOMPARE(picture.pixel(picture.width() - 1, 16), qRgb(0, 180, 255));
        button("pushButtonStop")->click();
    }

    void theStopButtonEndsPlaying()
    {
        addSound(qsizetype{60} * 44100);
        button("pushButtonPlayStop")->click();
        QVERIFY(m_project->playing);
        button("pushButtonStop")->click();
        QVERIFY(!m_project->playing);
        QVERIFY(!button("pushButtonPlayStop")->isChecked());
    }

    void aNewProjectEndsPlayingAndRecording()
    {
        addSound(qsizetype{60} * 44100);
        button("pushButtonPlayStop")->click();
        button("pushButtonRecord")->click();
        QVERIFY(m_project->playing && m_project->recording);
        m_project->untaint(QStringLiteral("the test"));
        QVERIFY(m_window->clear());
        QVERIFY(!m_project->playing && !m_project->recording);
        QVERIFY(!button("pushButtonPlayStop")->isChecked());
        QVERIFY(!button("pushButtonRecord")->isChecked());
    }

    // A view shorter than a second becomes ten seconds, a tenth of it before the
    // take's end.
    void recordingOpensANarrowViewAroundTheTakesEnd()
    {
        addSound(3000);
        setView(0, 1000);
        m_project->cursor.position = 77;
        const qint64& end = cursorAtPageTurn();
        button("pushButtonRecord")->click();
        const TrackHandle take = m_project->tracks.constLast();
        QCOMPARE(take->name, "Recording");
        QTRY_VERIFY_WITH_TIMEOUT(m_project->viewEnd > 1000, kPatienceMs);
        QVERIFY(end > 1000 && end <= take->length());
        QCOMPARE(m_project->viewStart, std::max<qint64>(end - 44100, 0));
        QCOMPARE(m_project->viewEnd - m_project->viewStart, 441000);
        button("pushButtonRecord")->click();
        QCOMPARE(m_project->cursor.position, 77);
        QVERIFY(take->length() >= end);
    }

    void aLostMicrophoneBringsTheCursorBackAndSaysSo()
    {
        const TrackHandle take = takeThatTheEngineEnds();
        emit m_window->engine()->deviceLost(QStringLiteral("input"));
        QCOMPARE(m_project->cursor.position, 77);
        QCOMPARE(shownPosition(), "00:00:00.001");
        QVERIFY(m_project->tracks.contains(take));
        QCOMPARE(message(), "The audio input was lost. What it gave until then is in the take. "
                            "Connect a microphone, then press Record again.");
    }

    void aTakeThatIsCutShortBringsTheCursorBackAndSaysSo()
    {
        const TrackHandle take = takeThatTheEngineEnds();
        emit m_window->engine()->recordingCutShort();
        QVERIFY(!button("pushButtonRecord")->isChecked());
        QCOMPARE(m_project->cursor.position, 77);
        QCOMPARE(shownPosition(), "00:00:00.001");
        QVERIFY(m_project->tracks.contains(take));
        QCOMPARE(message(), "There is no memory left to record into. What was captured until then "
                            "is in the take. Save the project.");
    }

    void aTrackThatTheTakeGoesOnInHasAStrip()
    {
        button("pushButtonRecord")->click();
        m_project->addTrack({}, 1);
        emit m_window->engine()->structureChanged();
        QCOMPARE(m_window->findChildren<WaveformView*>().size(), 2);
        button("pushButtonRecord")->click();
    }

    void aRateThatNoDeviceTakesIsToldOf()
    {
        m_project->sampleRate = 0; // as of a damaged file
        m_log->tolerate(QtWarningMsg, QStringLiteral("no audio output device supports"));
        m_log->tolerate(QtWarningMsg, QStringLiteral("cannot record"));
        const QString told = QStringLiteral("No audio device here takes the project's sample "
                                            "rate, 0 Hz.");
        for (const char* name : {"pushButtonPlayStop", "pushButtonRecord"}) {
            button(name)->click();
            QVERIFY(!button(name)->isChecked());
            QCOMPARE(message(), told);
        }
    }

    void removingTheTakeEndsIt_data()
    {
        QTest::addColumn<int>("index");
        QTest::newRow("by its place") << 0;
        QTest::newRow("as the last") << -1;
    }

    void removingTheTakeEndsIt()
    {
        QFETCH(int, index);
        addSound(3000);
        m_project->cursor.position = 77;
        IconButton* record = button("pushButtonRecord");
        record->click();
        m_window->removeTrack(0);
        QVERIFY(m_project->recording);
        m_window->removeTrack(index);
        QVERIFY(!m_project->recording);
        QVERIFY(!record->isChecked());
        QVERIFY(m_project->tracks.isEmpty());
        QCOMPARE(m_project->cursor.position, 77);
    }

    void aLostDeviceBringsUpItsOwnButtonOnly()
    {
        addSound(qsizetype{60} * 44100);
        const IconButton* play = button("pushButtonPlayStop");
        const IconButton* record = button("pushButtonRecord");
        button("pushButtonPlayStop")->click();
        button("pushButtonRecord")->click();
        emit m_window->engine()->deviceLost(QStringLiteral("output"));
        QVERIFY(!play->isChecked());
        QVERIFY(record->isChecked());
        QCOMPARE(message(), "The audio output was lost. Connect or switch one on, then press Play "
                            "again.");
        button("pushButtonPlayStop")->click();
        emit m_window->engine()->deviceLost(QStringLiteral("input"));
        QVERIFY(play->isChecked());
        QVERIFY(!record->isChecked());
        button("pushButtonStop")->click();
    }

    void recordingTurnsAWideViewsPageAndKeepsItsSpan()
    {
        addSound(3000);
        setView(0, 50000);
        const qint64& end = cursorAtPageTurn();
        button("pushButtonRecord")->click();
        QTRY_VERIFY_WITH_TIMEOUT(m_project->viewStart > 0, kPatienceMs);
        QVERIFY(end > 50000);
        QCOMPARE(m_project->viewStart, end - 5000);
        QCOMPARE(m_project->viewEnd, end + 45000);
        button("pushButtonRecord")->click();
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    const QApplication application(argc, argv);
    TestVelaWithDevices suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_velawithdevices.moc"
