#include "waveformsuite.h"

#include "support/signalmakers.h"

#include <QTest>

WaveformSuite::WaveformSuite(float sample)
    : m_sample(sample)
{
}

void WaveformSuite::init()
{
    constexpr int kFrames = 10 * kWidth;
    m_log = std::make_unique<LogCatcher>();
    m_project = VelaProject::create(1000);
    const TrackHandle track = m_project->addTrack("Take", 1);
    track->samples[0] = signal_makers::constant(kFrames, m_sample);
    m_view = std::make_unique<WaveformView>();
    m_view->resize(kWidth, kHeight);
    m_view->setViewState(m_project.data());
    m_view->setTrack(track.data());
    m_view->setViewRange(0, kFrames);
    m_project->cursor.position = 50000;
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
}

void WaveformSuite::cleanup()
{
    m_view.reset();
    m_log.reset();
}
