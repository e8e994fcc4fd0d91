// Memory runs out while a file is imported. A suite of its own, as the sanitizers know
// no limit of the address space.

#include "media/devices/mediaplatform.h"
#include "project/addressspacelimit.h"
#include "project/importing.h"
#include "support/files.h"
#include "support/mediafiles.h"

#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>

using media_files::WavFormat;

namespace {

constexpr qint64 kMebibyte = qint64{1024} * 1024;
constexpr int kRateHz = 44100;

} // namespace

class TestAudioImporterMemory : public QObject {
    Q_OBJECT

private:
    // One byte a sample, which takes four in memory; silence, which takes no disk.
    QString silence(qint64 frames, int channels) const
    {
        const qint64 bytes = frames * channels;
        QByteArray header = media_files::wav(WavFormat::UInt8, channels, kRateHz, {}).left(44);
        const auto patch = [&header](qsizetype at, qint64 size) {
            for (int byte = 0; byte < 4; ++byte)
                header[at + byte] = static_cast<char>(size >> (8 * byte));
        };
        patch(4, 36 + bytes);
        patch(40, bytes);
        const QString path = m_dir.filePath(QStringLiteral("silence.wav"));
        writeFile(path, header);
        QFile file(path);
        return file.resize(44 + bytes) ? path : QString();
    }

    QTemporaryDir m_dir;

private slots:

    void samplesThatDoNotFitAreOneErrorAndTheProgramLives_data()
    {
        QTest::addColumn<int>("channels");
        QTest::newRow("converted while they arrive") << 1;
        QTest::newRow("converted in the end") << 4;
    }

    void samplesThatDoNotFitAreOneErrorAndTheProgramLives()
    {
        QFETCH(int, channels);
        const QString path = silence(64 * kMebibyte / channels, channels);
        {
            // Half of it may be taken: the toolkit's own threads go on allocating.
            const AddressSpaceLimit limit(256 * kMebibyte);
            QVERIFY(limit.isSet());
            const Import import(path);
            QVERIFY(import.failed());
            QCOMPARE(import.errors, QStringList{path + " does not fit into memory"});
        }
        const Import next(silence(1000, 1));
        QVERIFY(next.succeeded());
        QCOMPARE(next.track->length(), 1000);
    }
};

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("PULSE_SERVER", "unix:/nonexistent");
    prepareMediaPlatform();
    const QGuiApplication application(argc, argv);
    TestAudioImporterMemory suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_audioimportermemory.moc"
