#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/spectrogramimage.h"
#include "widgets/spectrumanalyser.h"

#include <QColor>
#include <QTest>

#include <memory>
#include <vector>

class TestSpectrogramImage : public QObject {
    Q_OBJECT

private:
    static SpectrumAnalyser hearing(double hz)
    {
        SpectrumAnalyser analyser;
        const QList<float> tone = signal_makers::sine(44100, hz, 44100);
        analyser.process(tone.constData(), static_cast<int>(tone.size()));
        return analyser;
    }

    static bool isBlack(const QImage& image)
    {
        QImage black(image.size(), QImage::Format_RGB32);
        black.fill(Qt::black);
        return image == black;
    }

    static QImage blankFrame(QSize size)
    {
        QImage frame(size, QImage::Format_RGB32);
        frame.fill(QColor(34, 34, 34));
        return frame;
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void colourGoesFromBlackThroughCyanAndYellowToWhite_data()
    {
        QTest::addColumn<double>("level");
        QTest::addColumn<QColor>("colour");
        QTest::newRow("nothing is black") << 0.0 << QColor(0, 0, 0);
        QTest::newRow("an eighth is blue") << 0.125 << QColor(0, 0, 90);
        QTest::newRow("just below a quarter") << 0.2499 << QColor(0, 0, 179);
        QTest::newRow("a quarter") << 0.25 << QColor(0, 0, 180);
        QTest::newRow("three eighths") << 0.375 << QColor(0, 127, 217);
        QTest::newRow("a half is cyan") << 0.5 << QColor(0, 255, 255);
        QTest::newRow("five eighths") << 0.625 << QColor(127, 255, 127);
        QTest::newRow("three quarters is yellow") << 0.75 << QColor(255, 255, 0);
        QTest::newRow("seven eighths") << 0.875 << QColor(255, 255, 127);
        QTest::newRow("all is white") << 1.0 << QColor(255, 255, 255);
        QTest::newRow("more is white") << 2.0 << QColor(255, 255, 255);
        QTest::newRow("less is black") << -1.0 << QColor(0, 0, 0);
    }

    void colourGoesFromBlackThroughCyanAndYellowToWhite()
    {
        QFETCH(double, level);
        QFETCH(QColor, colour);
        QCOMPARE(SpectrogramImage::colour(level), colour.rgb());
    }

    void startsBlackAt512By256()
    {
        const SpectrogramImage spectrogram;
        QCOMPARE(spectrogram.image().size(), QSize(512, 256));
        QCOMPARE(spectrogram.image().format(), QImage::Format_RGB32);
        QVERIFY(isBlack(spectrogram.image()));
        QCOMPARE(spectrogram.nextColumn(), 0);
    }

    void silenceIsBlackInEveryRow()
    {
        SpectrogramImage spectrogram;
        SpectrumAnalyser analyser;
        const QList<float> silence(8820);
        for (int i = 0; i < 5; ++i) {
            analyser.process(silence.constData(), static_cast<int>(silence.size()));
            spectrogram.addColumn(analyser);
        }
        QVERIFY(isBlack(spectrogram.image()));
        QCOMPARE(spectrogram.nextColumn(), 5);
    }

    void aColumnHasTheLowestBandAtTheBottom()
    {
        SpectrogramImage spectrogram;
        const SpectrumAnalyser analyser = hearing(200);
        spectrogram.addColumn(analyser);
        for (int band = 0; band < 256; ++band) {
            QCOMPARE(spectrogram.image().pixel(0, 255 - band),
                     SpectrogramImage::colour(analyser.level(band)));
        }
        // 200 Hz is band 85: −6 dB, near yellow to white
        QCOMPARE(qRed(spectrogram.image().pixel(0, 255 - 85)), 255);
        QCOMPARE(qRed(spectrogram.image().pixel(0, 0)), 0);
    }

    void theNextColumnComesAfterTheLastAndWraps()
    {
        SpectrogramImage spectrogram;
        const SpectrumAnalyser silent;
        const SpectrumAnalyser loud = hearing(200);
        for (int i = 0; i < 512; ++i)
            spectrogram.addColumn(silent);
        QCOMPARE(spectrogram.nextColumn(), 0);
        spectrogram.addColumn(loud);
        QCOMPARE(spectrogram.nextColumn(), 1);
        QCOMPARE(qRed(spectrogram.image().pixel(0, 170)), 255);
        QCOMPARE(qRed(spectrogram.image().pixel(1, 170)), 0);
    }

    void clearStartsOver()
    {
        SpectrogramImage spectrogram;
        spectrogram.addColumn(hearing(200));
        spectrogram.clear();
        QVERIFY(isBlack(spectrogram.image()));
        QCOMPARE(spectrogram.nextColumn(), 0);
    }

    void drawIntoPutsTheOldestColumnLeftPixelForPixel()
    {
        SpectrogramImage spectrogram;
        std::vector<SpectrumAnalyser> tones;
        tones.reserve(7);
        for (int i = 0; i < 7; ++i)
            tones.push_back(hearing(100.0 * (i + 1)));
        for (size_t i = 0; i < 700; ++i)
            spectrogram.addColumn(tones[i % 7]);
        QImage frame = blankFrame({520, 260});
        spectrogram.drawInto(frame, {4, 2, 512, 256});
        const int next = spectrogram.nextColumn();
        QCOMPARE(next, 700 - 512);
        QCOMPARE(frame.copy(4, 2, 512 - next, 256),
                 spectrogram.image().copy(next, 0, 512 - next, 256));
        QCOMPARE(frame.copy(4 + 512 - next, 2, next, 256),
                 spectrogram.image().copy(0, 0, next, 256));
        QCOMPARE(frame.pixel(3, 2), qRgb(34, 34, 34));
        QCOMPARE(frame.pixel(516, 2), qRgb(34, 34, 34));
        QCOMPARE(frame.pixel(4, 1), qRgb(34, 34, 34));
        QCOMPARE(frame.pixel(4, 258), qRgb(34, 34, 34));
    }

    void drawIntoRepeatsPixelsWhenTheCellIsLarger()
    {
        SpectrogramImage spectrogram;
        spectrogram.addColumn(hearing(500));
        QImage frame = blankFrame({1024, 768});
        spectrogram.drawInto(frame, frame.rect());
        QImage columnOfThree = spectrogram.image().copy(0, 0, 1, 256).scaled(2, 768);
        QCOMPARE(frame.copy(1022, 0, 2, 768), columnOfThree);
    }

    void drawIntoShowsTheMeanWhenTheCellIsSmaller()
    {
        SpectrogramImage spectrogram;
        spectrogram.addColumn(hearing(500));
        const QImage& source = spectrogram.image();
        QImage frame = blankFrame({256, 64});
        spectrogram.drawInto(frame, frame.rect());
        for (int y = 0; y < 64; ++y) {
            // of the two columns the older is black; four rows each
            int green = 0;
            for (int row = 4 * y; row < 4 * y + 4; ++row)
                green += qGreen(source.pixel(0, row));
            QCOMPARE(qGreen(frame.pixel(255, y)), green / 8);
            QCOMPARE(frame.pixel(254, y), qRgb(0, 0, 0));
        }
    }

    void drawIntoAnEmptyOrOutsideCellDrawsNothing()
    {
        const SpectrogramImage spectrogram;
        QImage frame = blankFrame({20, 10});
        const QImage before = frame.copy();
        spectrogram.drawInto(frame, QRect());
        spectrogram.drawInto(frame, QRect(20, 0, 30, 10));
        QCOMPARE(frame, before);
    }
};

QTEST_APPLESS_MAIN(TestSpectrogramImage)
#include "tst_spectrogramimage.moc"
