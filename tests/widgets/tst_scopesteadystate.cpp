#include "support/allocationcounter.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/levelballistics.h"
#include "widgets/levelmeterpainter.h"
#include "widgets/scopering.h"
#include "widgets/spectrogramimage.h"
#include "widgets/spectrumanalyser.h"
#include "widgets/tracerenderer.h"

#include <QImage>
#include <QTest>

#include <array>
#include <memory>
#include <vector>

class TestScopeSteadyState : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void everyPieceOfATickWorksWithoutAllocating()
    {
        const auto ring = std::make_unique<ScopeRing>();
        std::vector<float> drained(ScopeRing::kCapacitySamples);
        const QList<float> block = signal_makers::noise(1024, 1);
        LevelBallistics level;
        SpectrumAnalyser analyser;
        SpectrogramImage spectrogram;
        std::array<TraceLane, 1> lanes{};
        QImage frame(320, 180, QImage::Format_RGB32);
        frame.fill(Qt::black);
        const uchar* framePixels = frame.constBits();
        const uchar* historyPixels = spectrogram.image().constBits();

        const AllocationCounter counter;
        for (int tick = 0; tick < 50; ++tick) {
            ring->push(block.constData(), 1024);
            const qint32 count = ring->drain(drained.data());
            level.addBlock(drained.data(), count, tick);
            level.advance(tick);
            level_meter::paint(frame, frame.rect(), level.reading(), 2);
            analyser.process(drained.data(), count);
            spectrogram.addColumn(analyser);
            spectrogram.drawInto(frame, frame.rect());
            lanes[0].samples = drained.data();
            lanes[0].count = count;
            drawTraces(frame, lanes, qRgb(0, 0, 0));
        }
        QCOMPARE(counter.count(), 0);
        QCOMPARE(frame.constBits(), framePixels);
        QCOMPARE(spectrogram.image().constBits(), historyPixels);
    }
};

QTEST_APPLESS_MAIN(TestScopeSteadyState)
#include "tst_scopesteadystate.moc"
