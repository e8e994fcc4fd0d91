#include "media/devices/mediaplatform.h"
#include "project/importing.h"
#include "support/files.h"
#include "support/hangingserver.h"
#include "support/logcatcher.h"
#include "support/mediafiles.h"
#include "support/signalmakers.h"

#include <QDir>
#include <QGuiApplication>
#include <QMetaMethod>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <cmath>
#include <memory>

using media_files::WavFormat;

namespace {

constexpr int kRateHz = 44100;
constexpr qsizetype kFrames = 2 * kRateHz;

// Sweeps, because the delay between two of them shows in one clear maximum.
QList<float> sweep(double fromHz, double toHz, int rateHz, qsizetype frames)
{
    QList<float> samples;
    for (qsizetype i = 0; i < frames; ++i) {
        const double seconds = static_cast<double>(i) / rateHz;
        const double length = static_cast<double>(frames) / rateHz;
        const double turns = fromHz * seconds + (toHz - fromHz) * seconds * seconds / (2 * length);
        samples.append(static_cast<float>(0.5 * std::sin(2 * M_PI * turns)));
    }
    return samples;
}

QList<QList<float>> sweeps(int channels, int rateHz, qsizetype frames)
{
    QList<QList<float>> all;
    for (int channel = 0; channel < channels; ++channel)
        all.append(sweep(200.0 + 300.0 * channel, 4000.0 - 400.0 * channel, rateHz, frames));
    return all;
}

// How alike `source` and `decoded` are, from −1 to 1, where `decoded` is taken
// to come `lag` frames late; over `frames` frames from `begin` of the source.
double correlation(const QList<float>& source, const QList<float>& decoded, qsizetype begin,
                   qsizetype frames, qsizetype lag)
{
    double both = 0;
    double ofSource = 0;
    double ofDecoded = 0;
    for (qsizetype i = begin; i < begin + frames; ++i) {
        const double s = source[i];
        const double d = decoded.value(i + lag);
        both += s * d;
        ofSource += s * s;
        ofDecoded += d * d;
    }
    return both / std::sqrt(ofSource * ofDecoded + 1e-30);
}

qsizetype likeliestLag(const QList<float>& source, const QList<float>& decoded, qsizetype most)
{
    qsizetype best = 0;
    double highest = -1;
    for (qsizetype lag = -most; lag <= most; ++lag) {
        const double alike = correlation(source, decoded, kFrames / 2, kRateHz / 10, lag);
        if (alike > highest) {
            highest = alike;
            best = lag;
        }
    }
    return best;
}

} // namespace

class TestAudioImporter : public QObject {
    Q_OBJECT

public:
    explicit TestAudioImporter(const HangingServer& server)
        : m_server(server)
    {
    }

private:
    [[nodiscard]] QString in(const QString& name) const { return m_dir.filePath(name); }

    QString wavFile(const QString& name, qsizetype frames = 4000, int channels = 2,
                    int rateHz = kRateHz) const
    {
        const auto data = media_files::int16Data(sweeps(channels, rateHz, frames));
        const QString path = in(name);
        writeFile(path, media_files::wav(WavFormat::Int16, channels, rateHz, data));
        return path;
    }

    const HangingServer& m_server;
    QTemporaryDir m_dir;
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init()
    {
        QVERIFY(m_dir.isValid());
        m_log = std::make_unique<LogCatcher>();
    }

    void cleanup() { m_log.reset(); }

    void signalsStandInTheirOrderWithTheirParameters()
    {
        const QMetaObject& meta = AudioImporter::staticMetaObject;
        QStringList found;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            if (method.methodType() == QMetaMethod::Signal)
                found.append(QString::fromLatin1(method.methodSignature() + ' ' +
                                                 method.parameterNames().join(',')));
        }
        QCOMPARE(found,
                 (QStringList{"progressChanged(int) percent", "errorOccurred(QString) message"}));
    }

    void aDecoderThatFailsIsQuotedIfItSaysAnything()
    {
        const QString path = in(QStringLiteral("voice.wav"));
        QCOMPARE(AudioImporter::decodingFailure(path, QStringLiteral("No codec.")), "No codec.");
        QCOMPARE(AudioImporter::decodingFailure(path, {}), "Failed to decode: " + path);
    }

    void wavSamplesAreExact_data()
    {
        QTest::addColumn<WavFormat>("format");
        QTest::addColumn<int>("channels");
        const QList<std::pair<const char*, WavFormat>> formats{{"8-bit", WavFormat::UInt8},
                                                               {"16-bit", WavFormat::Int16},
                                                               {"24-bit", WavFormat::Int24},
                                                               {"32-bit", WavFormat::Int32},
                                                               {"float", WavFormat::Float32}};
        for (const auto& [name, format] : formats) {
            for (const int channels : {1, 2, 6, 8})
                QTest::addRow("%s, %d channels", name, channels) << format << channels;
        }
    }

    // Random bytes read as what they are; the first values are the extremes.
    void wavSamplesAreExact()
    {
        QFETCH(WavFormat, format);
        QFETCH(int, channels);
        const int frames = 5003;
        const int width = media_files::bytesPerSample(format);
        QRandomGenerator random(quint32(width * 100 + channels));
        QByteArray data;
        QList<float> expected;
        for (int i = 0; i < frames * channels; ++i) {
            quint32 bits = i == 0 ? 0U : i == 1 ? 0xFFFFFFFFU : random.generate();
            if (i == 2)
                bits = 0x80000000U;
            if (i == 3)
                bits = 0x7FFFFFFFU;
            const auto value = static_cast<qint32>(bits);
            switch (format) {
            case WavFormat::UInt8:
                data.append(static_cast<char>(bits >> 24));
                expected.append(static_cast<float>((static_cast<int>(bits >> 24) - 128) / 128.0));
                break;
            case WavFormat::Float32: {
                const auto sample = static_cast<float>(value / 1073741824.0); // beyond ±1, too
                data.append(reinterpret_cast<const char*>(&sample), 4);
                expected.append(sample);
                break;
            }
            default: {
                const int shift = 32 - 8 * width;
                for (int byte = 4 - width; byte < 4; ++byte)
                    data.append(static_cast<char>(bits >> (8 * byte)));
                expected.append(static_cast<float>((value >> shift) / std::ldexp(1.0, 31 - shift)));
                break;
            }
            }
        }
        writeFile(in("exact.wav"), media_files::wav(format, channels, 48000, data));
        const Import import(in("exact.wav"));
        QVERIFY2(import.succeeded(), qPrintable(import.errors.join(u'|')));
        const Track& track = *import.track;
        QCOMPARE(track.channels, channels);
        QCOMPARE(track.samples.size(), channels);
        QCOMPARE(track.sampleRate, 48000);
        QVERIFY(!track.muted && !track.solo);
        for (int channel = 0; channel < channels; ++channel) {
            QCOMPARE(track.samples[channel].size(), frames);
            for (int frame = 0; frame < frames; ++frame)
                QVERIFY(track.samples[channel][frame] == expected[frame * channels + channel]);
        }
    }

    void theCornersOfIntegerSamplesAreExact()
    {
        writeFile(in("8.wav"),
                  media_files::wav(WavFormat::UInt8, 1, 8000, QByteArray::fromHex("8000FFC0")));
        const Import bytes(in("8.wav"));
        QVERIFY(bytes.succeeded());
        QCOMPARE(bytes.track->samples, (QList<QList<float>>{{0.0F, -1.0F, 0.9921875F, 0.5F}}));

        writeFile(in("16.wav"), media_files::wav(WavFormat::Int16, 1, 8000,
                                                 QByteArray::fromHex("0080FF7F00000040")));
        const Import shorts(in("16.wav"));
        QVERIFY(shorts.succeeded());
        QCOMPARE(shorts.track->samples,
                 (QList<QList<float>>{{-1.0F, 32767.0F / 32768.0F, 0.0F, 0.5F}}));
    }

    // Short enough to come in one buffer, whose first half is what is kept. Such
    // a file does not say where its channels belong.
    void fourChannelsGiveTwoFromTheFirstHalfOfTheValues_data()
    {
        QTest::addColumn<WavFormat>("format");
        QTest::addColumn<float>("step");
        QTest::newRow("16-bit") << WavFormat::Int16 << 1.0F / 32768.0F;
        QTest::newRow("32-bit") << WavFormat::Int32 << 1.0F / 2147483648.0F;
    }

    void fourChannelsGiveTwoFromTheFirstHalfOfTheValues()
    {
        QFETCH(WavFormat, format);
        QFETCH(float, step);
        QByteArray data;
        for (int value = 0; value < 4 * 100; ++value) {
            data.append(static_cast<char>(value)).append(static_cast<char>(value >> 8));
            data.append(media_files::bytesPerSample(format) - 2, '\0');
        }
        writeFile(in("four.wav"), media_files::wav(format, 4, 32000, data));
        const Import import(in("four.wav"));
        QVERIFY(import.succeeded());
        QCOMPARE(import.track->channels, 2);
        QCOMPARE(import.track->samples.size(), 2);
        QCOMPARE(import.track->length(), 100);
        QCOMPARE(import.track->samples[1].size(), 100);
        for (int frame = 0; frame < 100; ++frame) {
            QVERIFY(import.track->samples[0][frame] == static_cast<float>(2 * frame) * step);
            QVERIFY(import.track->samples[1][frame] == static_cast<float>(2 * frame + 1) * step);
        }
        QCOMPARE(
            m_log->texts(QtDebugMsg).last(),
            QString("Imported \"%1\" : 100 samples, 4 channels, 32000 Hz").arg(in("four.wav")));
    }

    void fourChannelsKeepTheirLengthOverManyBuffers()
    {
        const Import import(wavFile("long four.wav", 50000, 4));
        QVERIFY(import.succeeded());
        QCOMPARE(import.track->channels, 2);
        QCOMPARE(import.track->length(), 50000);
        QCOMPARE(import.track->samples[1].size(), 50000);
    }

    void compressedFilesSoundLikeTheirSource_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("encoding");
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("rateHz");
        QTest::addColumn<int>("mostExtraFrames"); // 0: the codec keeps the length
        QTest::addColumn<int>("mostLag");         // 0: nor does it delay
        const QStringList mp3{"-b:a", "192k"};
        QTest::newRow("MP3") << "a.mp3" << mp3 << 2 << 44100 << 0 << 0;
        QTest::newRow("MP3 mono") << "mono.mp3" << mp3 << 1 << 44100 << 0 << 0;
        QTest::newRow("Vorbis") << "a.ogg" << QStringList{"-q:a", "6"} << 2 << 44100 << 0 << 0;
        QTest::newRow("FLAC") << "a.flac" << QStringList() << 2 << 44100 << 0 << 0;
        QTest::newRow("FLAC 5.1") << "six.flac" << QStringList() << 6 << 44100 << 0 << 0;
        QTest::newRow("FLAC 7.1") << "eight.flac" << QStringList() << 8 << 44100 << 0 << 0;
        const QStringList aac{"-b:a", "192k"};
        QTest::newRow("AAC") << "a.aac" << aac << 2 << 44100 << 4096 << 2048;
        QTest::newRow("M4A") << "a.m4a" << aac << 2 << 44100 << 1023 << 0;
        QTest::newRow("WMA") << "a.wma" << QStringList{"-b:a", "192k"} << 2 << 44100 << 4096
                             << 4096;
        QTest::newRow("Opus") << "a.opus" << QStringList{"-b:a", "192k"} << 2 << 48000 << 0 << 0;
    }

    void compressedFilesSoundLikeTheirSource()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, encoding);
        QFETCH(int, channels);
        QFETCH(int, rateHz);
        QFETCH(int, mostExtraFrames);
        QFETCH(int, mostLag);
        const qsizetype frames = 2 * rateHz;
        const auto source = sweeps(channels, rateHz, frames);
        writeFile(in("source.wav"), media_files::wav(WavFormat::Int16, channels, rateHz,
                                                     media_files::int16Data(source)));
        QVERIFY(media_files::ffmpeg(QStringList{"-i", in("source.wav")} + encoding +
                                    QStringList{in(name)}));
        const Import import(in(name));
        QVERIFY2(import.succeeded(), qPrintable(import.errors.join(u'|')));
        const Track& track = *import.track;
        QCOMPARE(track.name, name.section(u'.', 0, 0));
        QCOMPARE(track.channels, channels);
        QCOMPARE(track.sampleRate, rateHz);
        if (mostExtraFrames == 0)
            QCOMPARE(track.length(), frames);
        QVERIFY2(std::abs(track.length() - frames) <= mostExtraFrames,
                 qPrintable(QString::number(track.length())));

        const qsizetype lag = likeliestLag(source[0], track.samples[0], mostLag);
        for (int channel = 0; channel < channels; ++channel) {
            QCOMPARE(track.samples[channel].size(), track.length());
            const double alike = correlation(source[channel], track.samples[channel], mostLag,
                                             frames - 2 * mostLag, lag);
            QVERIFY2(alike > 0.99, qPrintable(QString("%1 at lag %2").arg(alike).arg(lag)));
        }
    }

    void flacSamplesAreExact()
    {
        const auto noise = signal_makers::noise(30000, 7, 0.9F);
        writeFile(in("noise.wav"),
                  media_files::wav(WavFormat::Int16, 1, 22050, media_files::int16Data({noise})));
        QVERIFY(media_files::ffmpeg({"-i", in("noise.wav"), in("noise.flac")}));
        const Import import(in("noise.flac"));
        QVERIFY(import.succeeded());
        QCOMPARE(import.track->length(), 30000);
        for (int i = 0; i < 30000; ++i) {
            const auto sample = static_cast<float>(std::lround(noise[i] * 32767.0F));
            QVERIFY(import.track->samples[0][i] == sample / 32768.0F);
        }
    }

    void theSoundOfAFilmIsImported()
    {
        QVERIFY(media_files::ffmpeg({"-f", "lavfi", "-i", "testsrc=d=1", "-i", wavFile("voice.wav"),
                                     "-c:v", "mjpeg", "-c:a", "pcm_s16le", in("film.avi")}));
        const Import import(in("film.avi"));
        QVERIFY(import.succeeded());
        QCOMPARE(import.track->length(), 4000);
    }

    void anyFileNameOpensAndNamesTheTrackUpToItsFirstDot_data()
    {
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QString>("trackName");
        const QList<std::pair<QString, QString>> names{{"plain.wav", "plain"},
                                                       {"Über größe.wav", "Über größe"},
                                                       {"日本語 音楽.wav", "日本語 音楽"},
                                                       {"naïve — ♫ 🎵.wav", "naïve — ♫ 🎵"},
                                                       {"a b  c.wav", "a b  c"},
                                                       {"50%20off %1 %2.wav", "50%20off %1 %2"},
                                                       {"track #1?.wav", "track #1?"},
                                                       {"-dash.wav", "-dash"},
                                                       {"--help.wav", "--help"},
                                                       {"http:;x.wav", "http:;x"},
                                                       {"quo\"te's\\.wav", "quo\"te's\\"},
                                                       {"a.b.c.wav", "a"},
                                                       {".hidden.wav", ""},
                                                       {"no suffix", "no suffix"},
                                                       {"wrong.mp3", "wrong"}};
        for (const auto& [fileName, trackName] : names)
            QTest::newRow(qPrintable(fileName)) << fileName << trackName;
    }

    void anyFileNameOpensAndNamesTheTrackUpToItsFirstDot()
    {
        QFETCH(QString, fileName);
        const QString path = wavFile(fileName);
        const Import absolute(path);
        QVERIFY2(absolute.succeeded(), qPrintable(absolute.errors.join(u'|')));
        QTEST(absolute.track->name, "trackName");
        QCOMPARE(absolute.track->length(), 4000);

        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_dir.path()));
        const Import relative(fileName);
        QVERIFY(QDir::setCurrent(before));
        QVERIFY(relative.succeeded());
        QTEST(relative.track->name, "trackName");
    }

    void progressRisesToExactlyOneHundred_data()
    {
        QTest::addColumn<QString>("name");
        for (const char* name : {"p.wav", "p.mp3", "p.ogg", "p.flac", "p.m4a", "p.opus"})
            QTest::newRow(name) << name;
    }

    void progressRisesToExactlyOneHundred()
    {
        QFETCH(QString, name);
        const QString source = wavFile("p.wav", kFrames);
        if (name != "p.wav")
            QVERIFY(media_files::ffmpeg({"-i", source, in(name)}));
        const Import import(in(name));
        QVERIFY(import.succeeded());
        QVERIFY(std::is_sorted(import.progress.begin(), import.progress.end()));
        QVERIFY(import.progress.first() >= 0);
        const QSet<int> steps(import.progress.begin(), import.progress.end());
        QCOMPARE(steps.size(), import.progress.size()); // nothing is said twice
        QVERIFY2(steps.size() > 10, "the length is known, so there are steps on the way");
    }

    void theFinalHundredComesBeforeTheLineInTheLog()
    {
        const auto imported = [this] {
            return m_log->texts(QtDebugMsg).filter(QRegularExpression("^Imported ")).size();
        };
        AudioImporter importer;
        qsizetype linesAtTheHundred = -1;
        connect(&importer, &AudioImporter::progressChanged, this, [&](int percent) {
            if (percent == 100)
                linesAtTheHundred = imported();
        });
        QVERIFY(importer.importFile(wavFile("line.wav")));
        QCOMPARE(linesAtTheHundred, 0);
        QCOMPARE(imported(), 1);
    }

    void theEventLoopGoesOnDuringALongImport()
    {
        const QString path = wavFile("long.wav", 60 * kRateHz);
        int turns = 0;
        QTimer timer;
        connect(&timer, &QTimer::timeout, this, [&turns] { ++turns; });
        timer.start(1);
        const Import import(path);
        QVERIFY(import.succeeded());
        QCOMPARE(import.track->length(), 60 * kRateHz);
        QVERIFY2(turns >= 10, qPrintable(QString::number(turns)));
    }

    void noImportAskedForTheSoundServer()
    {
        QVERIFY(m_server.isListening());
        QVERIFY(Import(wavFile("quiet.wav")).succeeded());
        QVERIFY(!m_server.wasCalled());
    }
};

/// The whole suite runs beside a sound server that hangs: importing needs none.
int main(int argc, char** argv)
{
    const HangingServer server;
    prepareMediaPlatform();
    const QGuiApplication application(argc, argv);
    TestAudioImporter suite(server);
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_audioimporter.moc"
