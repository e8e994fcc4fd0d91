#include "app/refusals.h"
#include "project/projectserializer.h"

#include <QTest>

class TestRefusals : public QObject {
    Q_OBJECT

private slots:

    void ofPlayingNamesWhatIsMissing()
    {
        QCOMPARE(refusals::ofPlaying(false, 44100),
                 "No audio output was found. Connect or switch one on, then press Play again.");
        QCOMPARE(refusals::ofPlaying(true, 0),
                 "No audio device here takes the project's sample rate, 0 Hz.");
    }

    void ofRecordingNamesTheMicrophoneFirst()
    {
        const QString noInput =
            "No audio input was found. Connect a microphone, then press Record again.";
        QCOMPARE(refusals::ofRecording(false, false, 44100), noInput);
        QCOMPARE(refusals::ofRecording(false, true, 44100), noInput);
        QCOMPARE(refusals::ofRecording(true, false, 44100),
                 "No audio output was found, and recording needs one, too. Connect or switch one "
                 "on, then press Record again.");
        QCOMPARE(refusals::ofRecording(true, true, 500000),
                 "No audio device here takes the project's sample rate, 500000 Hz.");
    }

    void ofSavingComesWithTheFirstFrameTooMany()
    {
        QCOMPARE(refusals::ofSaving("tune.wav", kMaxChannelSamples), QString());
        QCOMPARE(refusals::ofSaving("tune.wav", kMaxChannelSamples + 1),
                 "tune.wav is longer than a project file can hold. It can be played, but no "
                 "project with it can be saved.");
    }
};

QTEST_GUILESS_MAIN(TestRefusals)
#include "tst_refusals.moc"
