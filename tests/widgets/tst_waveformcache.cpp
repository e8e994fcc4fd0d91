#include "project/track.h"
#include "support/allocationcounter.h"
#include "support/logcatcher.h"
#include "support/signalmakers.h"
#include "widgets/waveformcache.h"

#include <QTest>

#include <cstdlib>
#include <limits>
#include <memory>

using State = WaveformCache::State;

class TestWaveformCache : public QObject {
    Q_OBJECT

private:
    /// 100 × 120 pixels over four frames each.
    [[nodiscard]] WaveformScene sceneFrom(qint64 begin) const
    {
        WaveformScene scene;
        scene.track = m_track.get();
        scene.range = {begin, begin + 400};
        scene.showTicks = true;
        scene.sampleRate = 1000;
        scene.size = {100, 120};
        return scene;
    }

    static QImage freshly(const WaveformScene& scene)
    {
        WaveformCache cache;
        cache.render(scene);
        return cache.pixmap().toImage();
    }

    /// The column whose waveform reaches highest, the ruler left out.
    static int highestColumn(const QImage& image)
    {
        constexpr int kFirstRow = 40;
        for (int y = kFirstRow; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixel(x, y) != qRgb(30, 30, 30))
                    return x;
            }
        }
        return -1;
    }

    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<Track> m_track;

private slots:

    void init()
    {
        m_log = std::make_unique<LogCatcher>();
        m_track = std::make_unique<Track>("t", 1, 1000);
        m_track->samples[0] = signal_makers::noise(9000, 21);
    }

    void cleanup() { m_log.reset(); }

    void thePictureIsOpaqueAtRatioOneInDevicePixels()
    {
        WaveformScene scene = sceneFrom(0);
        scene.devicePixelRatio = 2.0;
        WaveformCache cache;
        QVERIFY(cache.pixmap().isNull());
        QVERIFY(cache.render(scene));
        QCOMPARE(cache.pixmap().size(), QSize(200, 240));
        QCOMPARE(cache.pixmap().devicePixelRatio(), 1.0);
        QVERIFY(!cache.pixmap().hasAlphaChannel());
    }

    void noPeaksAreMadeWhereNoLaneHasRoom()
    {
        // 100 rows lie below the ruler.
        const auto blocksTaken = [this](qsizetype channels) {
            const QList<float> silence(256, 0.0F);
            m_track->samples = QList<QList<float>>(channels, silence);
            m_track->channels = static_cast<qint32>(channels);
            WaveformCache cache;
            const AllocationCounter counter;
            cache.render(sceneFrom(0));
            return counter.count();
        };
        freshly(sceneFrom(0)); // fills the toolkit's caches
        const qint64 withoutLanes = blocksTaken(101);
        QVERIFY(blocksTaken(100) >= withoutLanes + 200); // two lists for each channel
        QVERIFY(blocksTaken(10000) < withoutLanes + 200);
    }

    void aTrackThatClaimsAllChannelsThereAreIsDrawnWithoutOne()
    {
        m_track->channels = std::numeric_limits<qint32>::max();
        const QImage image = freshly(sceneFrom(0));
        QCOMPARE(image.pixel(50, 21), qRgb(30, 30, 30));
        QCOMPARE(image.pixel(50, 119), qRgb(30, 30, 30));
    }

    void stateNamesWhatMakesThePictureStale()
    {
        WaveformCache cache;
        const WaveformScene scene = sceneFrom(1000);
        QCOMPARE(cache.stateFor(scene), State::Unusable);
        cache.render(scene);
        QCOMPARE(cache.stateFor(scene), State::Current);

        WaveformScene other = sceneFrom(1001);
        QCOMPARE(cache.stateFor(other), State::Scrolled);
        other.range.end = 1500;
        QCOMPARE(cache.stateFor(other), State::Outdated);
        other.range = {};
        QCOMPARE(cache.stateFor(other), State::Outdated);

        other = scene;
        other.size.setWidth(101);
        QCOMPARE(cache.stateFor(other), State::Unusable);
        other = scene;
        other.size.setHeight(119);
        QCOMPARE(cache.stateFor(other), State::Unusable);
        other = scene;
        other.devicePixelRatio = 2.0;
        QCOMPARE(cache.stateFor(other), State::Unusable);
        other = scene;
        other.sampleRate = 48000;
        QCOMPARE(cache.stateFor(other), State::Unusable);
        other = scene;
        other.showTicks = false;
        QCOMPARE(cache.stateFor(other), State::Unusable);
        const Track another = *m_track;
        other = scene;
        other.track = &another;
        QCOMPARE(cache.stateFor(other), State::Unusable);

        m_track->samples[0].append(0.5F);
        QCOMPARE(cache.stateFor(scene), State::Unusable);
        m_track->samples[0].removeLast();
        QCOMPARE(cache.stateFor(scene), State::Current);
        m_track->channels = 2;
        QCOMPARE(cache.stateFor(scene), State::Unusable);
        m_track->channels = 1;

        cache.forgetTrack();
        QCOMPARE(cache.stateFor(scene), State::Unusable);
        QVERIFY(cache.pixmap().isNull());
    }

    void aPictureOfAnEmptyRangeIsNeverScrolled()
    {
        WaveformCache cache;
        WaveformScene scene = sceneFrom(0);
        scene.range = {5, 5};
        cache.render(scene);
        QCOMPARE(cache.stateFor(scene), State::Current);
        scene.range = {6, 6};
        QCOMPARE(cache.stateFor(scene), State::Unusable);
    }

    void scrollingEqualsAFreshRender()
    {
        WaveformCache cache;
        cache.render(sceneFrom(2000));
        // Left, right, by one pixel, by all but one, by a width, by far more.
        for (const qint64 begin : {2040, 2000, 2004, 2400, 2004, 1604, 2004, 8000, 0}) {
            QVERIFY(cache.render(sceneFrom(begin)));
            QCOMPARE(cache.stateFor(sceneFrom(begin)), State::Current);
            QVERIFY(cache.pixmap().toImage() == freshly(sceneFrom(begin)));
        }
    }

    // Each step is drawn as three pixels and is three and a third.
    void manySmallScrollsStayWhereAFreshRenderIs()
    {
        m_track->samples[0] = signal_makers::dirac(200, 60);
        WaveformScene scene = sceneFrom(0);
        scene.size = {300, 120};
        WaveformCache cache;
        for (qint64 begin = 0; begin <= 30; ++begin) {
            scene.range = {begin, begin + 90};
            cache.render(scene);
            const int distance =
                highestColumn(cache.pixmap().toImage()) - highestColumn(freshly(scene));
            QVERIFY2(std::abs(distance) <= 1, qPrintable(QString::number(distance)));
        }
    }

    // A logical pixel is one and a half on the screen.
    void aSlowDragOnADenseScreenStaysWhereAFreshRenderIs()
    {
        m_track->samples[0] = signal_makers::dirac(9000, 2500);
        WaveformScene scene = sceneFrom(0);
        scene.size = {400, 120};
        scene.devicePixelRatio = 1.5;
        WaveformCache cache;
        for (qint64 begin = 0; begin <= 1000; begin += 10) {
            scene.range = {begin, begin + 4000};
            cache.render(scene);
        }
        const int distance =
            highestColumn(cache.pixmap().toImage()) - highestColumn(freshly(scene));
        QVERIFY2(std::abs(distance) <= 1, qPrintable(QString::number(distance)));
    }

    void scrollingDrawsTheUncoveredColumnsOnly()
    {
        WaveformCache cache;
        cache.render(sceneFrom(2000));
        const QImage before = cache.pixmap().toImage();
        m_track->samples[0].fill(0.0F);
        cache.render(sceneFrom(2040)); // ten pixels on
        const QImage after = cache.pixmap().toImage();
        const QRect lanes(0, 20, 90, 100);
        QVERIFY(after.copy(lanes) == before.copy(lanes.translated(10, 0)));
        const QRect uncovered(90, 20, 10, 100);
        QVERIFY(after.copy(uncovered) == freshly(sceneFrom(2040)).copy(uncovered));
    }

    void aScrollBelowHalfAPixelDrawsNothingUntilItAddsUp()
    {
        WaveformCache cache;
        cache.render(sceneFrom(2000));
        const qint64 key = cache.pixmap().cacheKey();
        QVERIFY(!cache.render(sceneFrom(2001)));
        QCOMPARE(cache.pixmap().cacheKey(), key);
        QCOMPARE(cache.stateFor(sceneFrom(2001)), State::Scrolled);
        QCOMPARE(cache.stateFor(sceneFrom(2000)), State::Current);
        // Half a pixel is rounded away from zero, to a whole one.
        QVERIFY(cache.render(sceneFrom(2002)));
        QCOMPARE(cache.stateFor(sceneFrom(2002)), State::Current);
        QVERIFY(cache.pixmap().cacheKey() != key);
    }

    void aTakeThatGrowsShowsItsNewSamples()
    {
        m_track->samples[0].resize(500);
        WaveformScene scene = sceneFrom(0);
        scene.range = {0, 51200}; // 512 frames a pixel: from the peaks
        WaveformCache cache;
        cache.render(scene);
        for (int i = 0; i < 9; ++i) {
            m_track->samples[0] += signal_makers::noise(700, static_cast<quint32>(i));
            QVERIFY(cache.render(scene));
            QVERIFY(cache.pixmap().toImage() == freshly(scene));
        }
    }

    void renderingNeverCopiesTheSamples()
    {
        const QList<float> original = m_track->samples.constFirst();
        WaveformCache cache;
        cache.render(sceneFrom(0));
        cache.render(sceneFrom(40));
        QCOMPARE(m_track->samples.constFirst().constData(), original.constData());
    }
};

QTEST_MAIN(TestWaveformCache)
#include "tst_waveformcache.moc"
