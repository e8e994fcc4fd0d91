#include "media/devices/mediaplatform.h"
#include "project/damages.h"
#include "project/importing.h"
#include "project/renderfault.h"
#include "project/retireddecoder.h"
#include "support/attempts.h"
#include "support/files.h"
#include "support/logcatcher.h"
#include "support/mediafiles.h"
#include "support/signalmakers.h"

#include <QDir>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <array>
#include <memory>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

using media_files::WavFormat;

namespace {

constexpr int kRateHz = 44100;
constexpr qint64 kLongestWaitMs = 3000;
constexpr int kPatienceMs = 30000;

// Some rights hold for everybody but the superuser, who gives them up here.
class AsNobody {
public:
    AsNobody()
    {
        constexpr uid_t kNobody = 65534;
        if (geteuid() == 0)
            m_changed = seteuid(kNobody) == 0;
    }

    ~AsNobody()
    {
        if (m_changed && seteuid(0) != 0)
            abort();
    }
    Q_DISABLE_COPY_MOVE(AsNobody)

private:
    bool m_changed = false;
};

/// Counts how often a file is opened. It has to be closed before it is opened again:
/// the system makes one event of two that follow each other and are the same.
class OpeningsCounter {
public:
    explicit OpeningsCounter(const QString& path)
        : m_queue(inotify_init1(IN_NONBLOCK))
        , m_watch(inotify_add_watch(m_queue, qPrintable(path), IN_OPEN | IN_CLOSE))
    {
    }

    ~OpeningsCounter() { ::close(m_queue); }
    Q_DISABLE_COPY_MOVE(OpeningsCounter)

    [[nodiscard]] bool isWatching() const { return m_watch >= 0; }

    /// Since the last call. Events of a file that is watched itself have no name.
    [[nodiscard]] qsizetype count() const
    {
        std::array<inotify_event, 64> events{};
        const ssize_t bytes = ::read(m_queue, events.data(), sizeof events);
        const auto* end = events.cbegin() +
                          static_cast<size_t>(std::max<ssize_t>(bytes, 0)) / sizeof(inotify_event);
        return std::count_if(events.cbegin(), end,
                             [](const auto& event) { return (event.mask & IN_OPEN) != 0; });
    }

private:
    int m_queue;
    int m_watch;
};

// The machine may have been busy with other work: one of three has to be in time.
bool isSoonOver(const Import& first, const QString& path)
{
    const auto isInTime = [](const Import& import) { return import.elapsedMs < kLongestWaitMs; };
    return isInTime(first) || isInTime(Import(path)) || isInTime(Import(path));
}

} // namespace

class TestAudioImporterFaults : public QObject {
    Q_OBJECT

private:
    [[nodiscard]] QString in(const QString& name) const { return m_dir.filePath(name); }

    QString wavFile(const QString& name, qsizetype frames) const
    {
        const auto data = media_files::int16Data({signal_makers::sine(frames, 440, kRateHz, 0.5F),
                                                  signal_makers::noise(frames, 3, 0.2F)});
        const QString path = in(name);
        writeFile(path, media_files::wav(WavFormat::Int16, 2, kRateHz, data));
        return path;
    }

    QTemporaryDir m_dir;
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init()
    {
        QVERIFY(m_dir.isValid());
        m_log = std::make_unique<LogCatcher>();
        // What the toolkit says of damaged files.
        m_log->tolerate(QtWarningMsg, "error in decoder");
        m_log->tolerate(QtWarningMsg, "Cannot set file position");
    }

    void cleanup() { m_log.reset(); }

    // First: a change of rights waits for every thread, and a decoder's that a later file has
    // put to sleep may not hear of it.
    void aFileThatMayNotBeReadSaysWhy()
    {
        const QString path = wavFile("secret.wav", 1000);
        QCOMPARE(chmod(qPrintable(m_dir.path()), 0755), 0);
        QCOMPARE(chmod(qPrintable(path), 0), 0);
        const AsNobody reader;
        const Import import(path);
        QVERIFY(import.failed());
        QCOMPARE(import.errors, QStringList{"Cannot read " + path + ": Permission denied"});
    }

    void aMissingFileSaysSo_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("plain") << "/nonexistent/file.wav";
        QTest::newRow("like a placeholder") << "/nonexistent/%1 %2.wav";
        QTest::newRow("empty") << "";
    }

    void aMissingFileSaysSo()
    {
        QFETCH(QString, path);
        const Import import(path);
        QVERIFY(import.failed());
        QCOMPARE(import.errors, QStringList{"File does not exist: " + path});
    }

    void whatHoldsNoSoundIsRefused_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray text =
            QByteArray("All work and no play makes no sound at all.\n").repeated(500);
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("one byte") << QByteArray("R");
        QTest::newRow("noise") << noiseBytes(100000, 1);
        QTest::newRow("more noise") << noiseBytes(2000000, 2);
        QTest::newRow("zeros") << QByteArray(1000000, '\0');
        QTest::newRow("text") << text;
        QTest::newRow("a header and nothing else")
            << media_files::wav(WavFormat::Int16, 2, kRateHz, {}).left(44);
        QTest::newRow("half a header")
            << media_files::wav(WavFormat::Int16, 2, kRateHz, {}).left(20);
        QTest::newRow("a header, then the wrong chunk")
            << media_files::wav(WavFormat::Int16, 2, kRateHz, text).replace("data", "atad");
        QTest::newRow("no channels") << media_files::wav(WavFormat::Int16, 0, kRateHz, text);
        QTest::newRow("no rate") << media_files::wav(WavFormat::Int16, 2, 0, text);
    }

    void whatHoldsNoSoundIsRefused()
    {
        QFETCH(QByteArray, bytes);
        for (const char* suffix : {"wav", "mp3", "ogg", "flac", "m4a"}) {
            const QString path = in(QString("nothing.") + suffix);
            writeFile(path, bytes);
            const Import import(path);
            QVERIFY2(import.failed(), suffix);
            QCOMPARE(import.errors, QStringList{"Failed to decode: " + path});
            QVERIFY2(isSoonOver(import, path), suffix);
        }
    }

    void aFilmWithoutSoundIsRefused()
    {
        for (const QString name : {"film.mp4", "film.avi", "film.wav"}) {
            QVERIFY(media_files::ffmpeg({"-f", "lavfi", "-i", "testsrc=d=1", "-c:v", "mpeg4", "-f",
                                         name.endsWith("avi") ? "avi" : "mp4", in(name)}));
            const Import import(in(name));
            QVERIFY2(import.failed(), qPrintable(name));
            QVERIFY(isSoonOver(import, in(name)));
        }
    }

    // Its decoder has nothing to do, and must not be left behind for that.
    void anEncodingThatNobodyKnowsIsRefusedAndLeavesNoThread()
    {
        const QString path = in("unknown.wav");
        QByteArray bytes = media_files::wav(WavFormat::Int16, 2, kRateHz, noiseBytes(40000, 7));
        constexpr qsizetype kTagOffset = 20;
        bytes.replace(kTagOffset, 2, "\x01\x44");
        writeFile(path, bytes);
        // What other files have left.
        QTRY_COMPARE_WITH_TIMEOUT(RetiredDecoder::count(), 0, kPatienceMs);
        const int threads = render_fault::rendererThreads();
        const Import import(path);
        QVERIFY(import.failed());
        QTRY_COMPARE_WITH_TIMEOUT(RetiredDecoder::count(), 0, kPatienceMs);
        QTRY_VERIFY(render_fault::rendererThreads() <= threads);
    }

    // More than the platform converts; its thread faults at that.
    void moreChannelsThanCanBeConvertedAreRefused()
    {
        const QString path = in("ninety.wav");
        const QByteArray data(90 * 1000, '\x80');
        writeFile(path, media_files::wav(WavFormat::UInt8, 90, kRateHz, data));
        const Import import(path);
        QVERIFY(import.failed());
        QCOMPARE(import.errors, QStringList{"Failed to decode: " + path});
        QVERIFY(isSoonOver(import, path));
    }

    void whatIsNoFileIsRefused()
    {
        QVERIFY(QDir().mkdir(in("folder.wav")));
        QCOMPARE(mkfifo(qPrintable(in("pipe.wav")), 0600), 0);
        for (const QString& path : {in("folder.wav"), in("pipe.wav"), QString("/dev/zero")}) {
            const Import import(path);
            QVERIFY2(import.failed(), qPrintable(path));
            QCOMPARE(import.errors, QStringList{"Failed to decode: " + path});
        }
    }

    void aDamagedFileGivesATrackOrOneError_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("encoding");
        const QList<std::pair<QString, QStringList>> kinds{{"d16.wav", {}},
                                                           {"d8.wav", {"-c:a", "pcm_u8"}},
                                                           {"d24.wav", {"-c:a", "pcm_s24le"}},
                                                           {"dfloat.wav", {"-c:a", "pcm_f32le"}},
                                                           {"d.mp3", {}},
                                                           {"d.ogg", {}},
                                                           {"d.flac", {}},
                                                           {"d.aac", {}},
                                                           {"d.m4a", {}},
                                                           {"d.wma", {}},
                                                           {"d.opus", {}}};
        for (const auto& [name, encoding] : kinds)
            QTest::newRow(qPrintable(name)) << name << encoding;
    }

    void aDamagedFileGivesATrackOrOneError()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, encoding);
        const QString sound = wavFile("sound.wav", kRateHz);
        QVERIFY(media_files::ffmpeg(QStringList{"-i", sound} + encoding + QStringList{in(name)}));
        const QByteArray whole = readFile(in(name));
        QVERIFY(Import(in(name)).succeeded());
        for (const Damage& damage : damages()) {
            writeFile(in(name), damage.apply(whole));
            const Import import(in(name));
            QVERIFY2(import.succeeded() != import.failed(), damage.name);
            QVERIFY2(isSoonOver(import, in(name)),
                     damage.name + ": " + QByteArray::number(import.elapsedMs));
            if (import.track)
                QVERIFY2(import.track->length() > 0, damage.name);
        }
    }

    // Without its first bytes the file is taken for a format that has no rate, and the
    // decoder hands out nothing but empty buffers.
    void aFileOfEmptyBuffersIsDecodedOnce()
    {
        const QString path = in("headless.wav");
        const QString sound = wavFile("sound.wav", kRateHz);
        QVERIFY(media_files::ffmpeg({"-i", sound, "-c:a", "pcm_s24le", path}));
        writeFile(path, readFile(path).mid(100));
        // A decoder that misses its start is followed by another.
        QVERIFY2(inThreeAttempts([&path] {
                     const OpeningsCounter openings(path);
                     return openings.isWatching() && Import(path).failed() && openings.count() <= 3;
                 }),
                 "one to wake the disk, one for the probe, one for the decoder");
    }

    void aFileCutShortGivesWhatIsThere()
    {
        const QString path = wavFile("cut.wav", kRateHz);
        writeFile(path, readFile(path).left(44 + 4 * 1000));
        const Import import(path);
        QVERIFY(import.succeeded());
        QCOMPARE(import.track->length(), 1000);
    }

    void cancelDropsTheImportWithoutAWord_data()
    {
        QTest::addColumn<int>("atPercent"); // −1: in the first turn of the event loop
        QTest::newRow("in the first turn") << -1;
        QTest::newRow("at the first buffer") << 0;
        QTest::newRow("midway") << 50;
        QTest::newRow("near the end") << 95;
    }

    void cancelDropsTheImportWithoutAWord()
    {
        QFETCH(int, atPercent);
        const QString path = wavFile("cancelled.wav", 30 * kRateHz);
        AudioImporter importer;
        bool cancelled = false;
        int after = 0;
        int errors = 0;
        connect(&importer, &AudioImporter::errorOccurred, this, [&errors] { ++errors; });
        connect(&importer, &AudioImporter::progressChanged, this, [&](int percent) {
            after += cancelled ? 1 : 0;
            if (atPercent >= 0 && percent >= atPercent && !cancelled) {
                cancelled = true;
                importer.cancel();
            }
        });
        if (atPercent < 0) {
            QTimer::singleShot(0, &importer, [&] {
                cancelled = true;
                importer.cancel();
            });
        }
        QVERIFY(importer.importFile(path).isNull());
        QVERIFY(cancelled);
        QCoreApplication::processEvents();
        QCOMPARE(after, 0);
        QCOMPARE(errors, 0);

        // The same importer is as good as new.
        atPercent = 101;
        cancelled = false;
        const TrackHandle track = importer.importFile(path);
        QVERIFY(track);
        QCOMPARE(track->length(), 30 * kRateHz);
    }

    void cancelWithoutAnImportDoesNothing()
    {
        AudioImporter importer;
        importer.cancel();
        QVERIFY(importer.importFile(wavFile("kept.wav", 1000)));
    }

    void cancelAfterTheFinalHundredComesTooLate()
    {
        AudioImporter importer;
        connect(&importer, &AudioImporter::progressChanged, this, [&importer](int percent) {
            if (percent == 100)
                importer.cancel();
        });
        QVERIFY(importer.importFile(wavFile("late.wav", 1000)));
    }

    void aSecondImportMeanwhileIsRefusedWithoutEffect()
    {
        const QString path = wavFile("outer.wav", 5 * kRateHz);
        AudioImporter importer;
        int refused = 0;
        QList<int> progress;
        QStringList errors;
        connect(&importer, &AudioImporter::errorOccurred, this,
                [&](const QString& message) { errors.append(message); });
        connect(&importer, &AudioImporter::progressChanged, this, [&](int percent) {
            progress.append(percent);
            for (const QString& inner : {path, QString("/nonexistent")})
                refused += importer.importFile(inner).isNull() ? 1 : 0;
        });
        const TrackHandle track = importer.importFile(path);
        QVERIFY(track);
        QCOMPARE(track->length(), 5 * kRateHz);
        QCOMPARE(refused, 2 * progress.size());
        QCOMPARE(progress.count(100), 1);
        QCOMPARE(errors, QStringList());
    }

    void whenTheApplicationQuitsTheImportEndsWithoutAWord()
    {
        const QString path = wavFile("quit.wav", 30 * kRateHz);
        bool quiet = false;
        QTimer::singleShot(0, qApp, [&] {
            QTimer::singleShot(0, qApp, &QCoreApplication::quit);
            const Import import(path);
            quiet = !import.track && import.errors.isEmpty() && !import.progress.contains(100);
        });
        QCoreApplication::exec();
        QVERIFY(quiet);
    }
};

/// There is no sound server where this suite looks for one.
int main(int argc, char** argv)
{
    const QTemporaryDir runtime;
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
    qputenv("PULSE_SERVER", "unix:" + QFile::encodeName(runtime.filePath("none")));
    prepareMediaPlatform();
    const QGuiApplication application(argc, argv);
    TestAudioImporterFaults suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_audioimporterfaults.moc"
