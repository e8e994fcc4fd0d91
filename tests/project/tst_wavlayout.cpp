#include "project/wavlayout.h"
#include "support/logcatcher.h"
#include "support/mediafiles.h"

#include <QBuffer>
#include <QTest>

#include <memory>

using media_files::WavFormat;

namespace {

constexpr int kRateHz = 32000;

std::optional<QAudioFormat> formatOf(const QByteArray& bytes)
{
    QBuffer file;
    file.setData(bytes);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const auto format = unplacedWavFormat(file);
    return file.pos() == 0 ? format : std::nullopt;
}

// The extensible form: tag, channel mask and the true tag in a longer chunk.
QByteArray extensible(char mask, char trueTag)
{
    QByteArray bytes = media_files::wav(WavFormat::Int16, 4, kRateHz, QByteArray(64, '\1'));
    bytes.replace(16, 1, QByteArray(1, 40)).replace(20, 2, QByteArray::fromHex("FEFF"));
    QByteArray extension = QByteArray::fromHex("16001000");
    extension.append(mask).append(3, '\0').append(trueTag).append(15, '\0');
    return bytes.insert(36, extension);
}

} // namespace

class TestWavLayout : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void fourChannelsWithoutPlacesAreFrontsCentreAndBack_data()
    {
        QTest::addColumn<WavFormat>("wavFormat");
        QTest::addColumn<QAudioFormat::SampleFormat>("sampleFormat");
        QTest::newRow("8-bit") << WavFormat::UInt8 << QAudioFormat::UInt8;
        QTest::newRow("16-bit") << WavFormat::Int16 << QAudioFormat::Int16;
        QTest::newRow("24-bit") << WavFormat::Int24 << QAudioFormat::Int32;
        QTest::newRow("32-bit") << WavFormat::Int32 << QAudioFormat::Int32;
        QTest::newRow("float") << WavFormat::Float32 << QAudioFormat::Float;
    }

    void fourChannelsWithoutPlacesAreFrontsCentreAndBack()
    {
        QFETCH(WavFormat, wavFormat);
        const auto format = formatOf(media_files::wav(wavFormat, 4, kRateHz, QByteArray(96, '\1')));
        QVERIFY(format);
        QCOMPARE(format->sampleRate(), kRateHz);
        QCOMPARE(format->channelCount(), 4);
        QTEST(format->sampleFormat(), "sampleFormat");
        QCOMPARE(format->channelOffset(QAudioFormat::FrontLeft), 0);
        QCOMPARE(format->channelOffset(QAudioFormat::FrontRight), 1);
        QCOMPARE(format->channelOffset(QAudioFormat::FrontCenter), 2);
        QCOMPARE(format->channelOffset(QAudioFormat::BackCenter), 3);
    }

    void sevenChannelsWithoutPlacesHaveOneAtTheBack()
    {
        const auto format = formatOf(media_files::wav(WavFormat::Int16, 7, kRateHz, {}));
        QVERIFY(format);
        QCOMPARE(format->channelCount(), 7);
        QCOMPARE(format->channelOffset(QAudioFormat::LFE), 3);
        QVERIFY(format->channelOffset(QAudioFormat::BackCenter) > 3);
    }

    void otherCountsNeedNoHelp()
    {
        for (const int channels : {0, 1, 2, 3, 5, 6, 8, 16})
            QVERIFY(!formatOf(media_files::wav(WavFormat::Int16, channels, kRateHz, {})));
    }

    void chunksBeforeTheFormatArePassedOver()
    {
        QByteArray bytes = media_files::wav(WavFormat::Int16, 4, kRateHz, {});
        bytes.insert(12, QByteArray("JUNK") + QByteArray::fromHex("03000000") + "abc" + '\0');
        QVERIFY(formatOf(bytes));
    }

    void theExtensibleFormCountsOnlyWithoutAMask()
    {
        QVERIFY(formatOf(extensible('\0', '\1')));
        QVERIFY(!formatOf(extensible('\x33', '\1')));
        QVERIFY(!formatOf(extensible('\0', '\6'))); // A-law is decoded to other values
    }

    void whatIsNoSuchWavIsLeftAlone_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray whole = media_files::wav(WavFormat::Int16, 4, kRateHz, {});
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("text") << QByteArray("just a line of text that is long enough");
        QTest::newRow("big-endian") << QByteArray(whole).replace("RIFF", "RIFX");
        QTest::newRow("another RIFF") << QByteArray(whole).replace("WAVE", "AVI ");
        QTest::newRow("no rate") << QByteArray(whole).replace(24, 4, QByteArray(4, '\0'));
        QTest::newRow("12-bit") << QByteArray(whole).replace(34, 1, "\x0C");
        QTest::newRow("chunk beyond the end")
            << QByteArray(whole).replace("fmt ", "tmf ").replace(16, 4, QByteArray(4, '\xFF'));
    }

    void whatIsNoSuchWavIsLeftAlone()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(!formatOf(bytes));
    }

    void aFormatCutShortIsLeftAlone()
    {
        const QByteArray whole = media_files::wav(WavFormat::Int16, 4, kRateHz, {});
        for (qsizetype size = 0; size < 36; ++size)
            QVERIFY(!formatOf(whole.left(size)));
        QVERIFY(formatOf(whole.left(36)));
    }
};

QTEST_APPLESS_MAIN(TestWavLayout)
#include "tst_wavlayout.moc"
