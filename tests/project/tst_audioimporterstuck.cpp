#include "media/devices/mediaplatform.h"
#include "project/audioimporter.h"
#include "project/renderfault.h"
#include "support/files.h"
#include "support/logcatcher.h"
#include "support/mediafiles.h"
#include "support/signalmakers.h"
#include "support/stopwatch.h"

#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int kRateHz = 44100;
constexpr qint64 kLongestWaitMs = 3000;

} // namespace

/// A decoder whose thread a signal stops, as a fault of its own would.
class TestAudioImporterStuck : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:

    void aDecoderThatStopsMidwayGivesOneErrorAndIsNotRunAgain()
    {
        const LogCatcher log;
        const QString path = m_dir.filePath("stuck.wav");
        const qsizetype frames = qsizetype{30} * kRateHz;
        const auto data = media_files::int16Data({signal_makers::sine(frames, 440, kRateHz, 0.5F)});
        writeFile(path, media_files::wav(media_files::WavFormat::Int16, 1, kRateHz, data));
        AudioImporter importer;
        int parked = 0;
        int last = 0;
        bool fellBack = false;
        Stopwatch watch;
        QStringList errors;
        connect(&importer, &AudioImporter::errorOccurred, this,
                [&](const QString& message) { errors.append(message); });
        connect(&importer, &AudioImporter::progressChanged, this, [&](int percent) {
            fellBack = fellBack || percent < last;
            last = percent;
            if (percent >= 50 && parked == 0) {
                parked = render_fault::parkRenderers();
                watch.restart();
            }
        });
        const TrackHandle track = importer.importFile(path);
        const qint64 elapsed = watch.elapsedMs();
        render_fault::releaseRenderers();
        QVERIFY(!track);
        QVERIFY(parked > 0);
        QCOMPARE(errors, QStringList{"Failed to decode: " + path});
        QVERIFY2(elapsed < kLongestWaitMs, qPrintable(QString::number(elapsed)));
        // Another run would have got to the end.
        QVERIFY(last < 99 && !fellBack);
    }
};

int main(int argc, char** argv)
{
    prepareMediaPlatform();
    const QGuiApplication application(argc, argv);
    TestAudioImporterStuck suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_audioimporterstuck.moc"
