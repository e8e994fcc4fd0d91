#include "support/logcatcher.h"
#include "widgets/trackheaderwidget.h"
#include "widgets/trackwidget.h"
#include "widgets/waveformview.h"

#include <QLayout>
#include <QSignalSpy>
#include <QTest>

#include <memory>

class TestTrackWidget : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        // Said of every window of a least size.
        m_log->tolerate(QtWarningMsg, "propagateSizeHints");
    }

    void cleanup() { m_log.reset(); }

    void theWaveformTakesWhatTheHeaderLeaves()
    {
        TrackWidget strip;
        QCOMPARE(strip.minimumHeight(), 80);
        QCOMPARE(strip.layout()->contentsMargins(), QMargins());
        QCOMPARE(strip.layout()->spacing(), 0);
        strip.resize(640, 100);
        strip.show();
        QVERIFY(QTest::qWaitForWindowExposed(&strip));
        QCOMPARE(strip.header()->geometry(), QRect(0, 0, 140, 100));
        QCOMPARE(strip.waveform()->geometry(), QRect(140, 0, 500, 100));
    }

    void theWaveformsSignalsAreForwarded()
    {
        TrackWidget strip;
        QSignalSpy cursors(&strip, &TrackWidget::cursorMoved);
        QSignalSpy selections(&strip, &TrackWidget::selectionChanged);
        QSignalSpy ranges(&strip, &TrackWidget::viewRangeChanged);
        emit strip.waveform()->cursorMoved(5);
        emit strip.waveform()->selectionChanged(6, 7);
        emit strip.waveform()->viewRangeChanged(8, 9);
        QCOMPARE(cursors, (QList<QList<QVariant>>{{5}}));
        QCOMPARE(selections, (QList<QList<QVariant>>{{6, 7}}));
        QCOMPARE(ranges, (QList<QList<QVariant>>{{8, 9}}));
    }

    void setTrackReachesBothParts()
    {
        TrackWidget strip;
        const auto track = TrackHandle::create("Take", 1, 44100);
        strip.setTrack(track);
        QCOMPARE(strip.header()->track(), track);
        QCOMPARE(strip.waveform()->accessibleName(), "Waveform of Take");
        QCOMPARE(strip.accessibleName(), "Take");
    }

    void theStripKeepsItsTrackAlive()
    {
        TrackWidget strip;
        auto track = TrackHandle::create("Take", 1, 44100);
        const QWeakPointer<Track> watch = track;
        strip.setTrack(track);
        track.reset();
        QVERIFY(!watch.isNull());
        strip.grab(); // draws it
        strip.setTrack({});
        QVERIFY(watch.isNull());
        strip.grab();
    }

    void aRenameReachesTheWaveformsAccessibleName()
    {
        TrackWidget strip;
        const auto track = TrackHandle::create("Take", 1, 44100);
        strip.setTrack(track);
        track->name = "Bass";
        emit strip.header()->nameChanged("Bass");
        QCOMPARE(strip.waveform()->accessibleName(), "Waveform of Bass");
        QCOMPARE(strip.accessibleName(), "Bass");
    }
};

QTEST_MAIN(TestTrackWidget)
#include "tst_trackwidget.moc"
