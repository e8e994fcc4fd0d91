// Imports from a disk that has yet to wake up, or never does.

#include "media/devices/mediaplatform.h"
#include "project/importing.h"
#include "project/stalling.h"
#include "support/files.h"
#include "support/foldersuite.h"
#include "support/hangingserver.h"
#include "support/mediafiles.h"
#include "support/signalmakers.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace std::chrono_literals;

namespace {

constexpr int kRateHz = 44100;
constexpr qsizetype kFrames = 4000;
constexpr auto kSpinUp = 2s;
constexpr int kTickMs = 10;
constexpr int kFewestTicks = 20; // of 200; the machine may be busy
constexpr qint64 kBoundMs = 5000;

} // namespace

class TestAudioImporterStall : public FolderSuite {
    Q_OBJECT

private:
    [[nodiscard]] QString wavFile() const
    {
        const QByteArray data = media_files::int16Data({signal_makers::ramp(kFrames, -0.5F, 0.5F)});
        const QString path = in("voice.wav");
        writeFile(path, media_files::wav(media_files::WavFormat::Int16, 1, kRateHz, data));
        return path;
    }

private slots:

    void init() { FolderSuite::init(); }

    void cleanup()
    {
        stalling::release();
        QTRY_COMPARE(stalling::threadsNamed("import-file"), 0);
        FolderSuite::cleanup();
    }

    void theWindowGoesOnWhileTheDiskWakesUp()
    {
        const QString path = wavFile();
        int ticks = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&ticks] { ticks += stalling::waiting(); });
        timer.start(kTickMs);
        QElapsedTimer clock;
        clock.start();
        stalling::begin(stalling::Call::Open, path, kSpinUp);
        const Import import(path);
        const qint64 elapsedMs = clock.elapsed();
        QVERIFY2(import.succeeded(), qPrintable(import.errors.join(u'|')));
        QCOMPARE(import.track->length(), kFrames);
        QVERIFY(elapsedMs >= std::chrono::milliseconds(kSpinUp).count());
        QVERIFY2(ticks >= kFewestTicks, qPrintable(QString::number(ticks)));
    }

    // A poll may miss the moment, so several are given the chance.
    void theWindowGoesOnWhileOtherNumbersOfChannelsAreConverted()
    {
        constexpr qsizetype kFramesOfFour = 2000000;
        constexpr int kMostImports = 20;
        const QString path = in("four.wav");
        writeFile(path, media_files::wav(media_files::WavFormat::Int16, 4, kRateHz,
                                         QByteArray(kFramesOfFour * 8, '\1')));
        int seen = 0;
        QTimer poll;
        connect(&poll, &QTimer::timeout, this,
                [&seen] { seen += stalling::threadsNamed("import-convert"); });
        poll.start(0);
        for (int number = 0; number < kMostImports && seen == 0; ++number) {
            const Import import(path);
            QVERIFY2(import.succeeded(), qPrintable(import.errors.join(u'|')));
            QCOMPARE(import.track->length(), kFramesOfFour);
            QCOMPARE(import.track->channels, 2);
        }
        QVERIFY(seen > 0);
    }

    void aDiskThatDoesNotAnswerACancelIsLeftBehind()
    {
        const QString path = wavFile();
        AudioImporter importer;
        const QSignalSpy errors(&importer, &AudioImporter::errorOccurred);
        QTimer poll;
        connect(&poll, &QTimer::timeout, &importer, [&importer] {
            if (stalling::waiting() > 0)
                importer.cancel();
        });
        poll.start(1);
        stalling::begin(stalling::Call::Open, path, 10 * kSpinUp);
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!importer.importFile(path));
        QVERIFY2(timer.elapsed() < kBoundMs, qPrintable(QString::number(timer.elapsed())));
        QVERIFY(importer.wasLeftBehind() && errors.isEmpty());
        QCOMPARE(stalling::threadsNamed("import-file"), 1);

        poll.stop();
        stalling::release();
        QVERIFY(importer.importFile(path));
        QVERIFY(!importer.wasLeftBehind());
    }

    void whatCannotBeReadIsReportedAsEver()
    {
        const Import none(in("none.wav"));
        QVERIFY(none.failed());
        QCOMPARE(none.errors[0], "File does not exist: " + in("none.wav"));
        const Import place(folder());
        QVERIFY(place.failed());
        QCOMPARE(place.errors[0], "Failed to decode: " + folder());
    }
};

int main(int argc, char** argv)
{
    // Files are decoded without ever asking for a sound device.
    const HangingServer server;
    prepareMediaPlatform();
    const QGuiApplication application(argc, argv);
    TestAudioImporterStall suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_audioimporterstall.moc"
