#include "nodeplayer.h"

#include "engine/audiocontext.h"
#include "support/signalmakers.h"

#include <algorithm>

namespace {

constexpr qsizetype kBlockFrames = 1024;
constexpr std::chrono::milliseconds kPumpInterval{5};

} // namespace

QList<float> onBothChannels(const QList<float>& mono)
{
    QList<float> both;
    both.reserve(2 * mono.size());
    for (const float sample : mono)
        both << sample << sample;
    return both;
}

NodePlayer::NodePlayer(media::audio::AudioOutputNode& node, const QList<float>& mono)
    : m_node(node)
    , m_samples(mono.cbegin(), mono.cend())
{
    connect(&m_timer, &QTimer::timeout, this, &NodePlayer::pump);
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.start(kPumpInterval);
    pump();
}

NodePlayer::NodePlayer(media::audio::AudioOutputNode& node)
    : NodePlayer(node, signal_makers::constant(kBlockFrames, 0.5F))
{
    m_endless = true;
}

void NodePlayer::pump()
{
    while (m_node.freeSamples() >= 2 * kBlockFrames) {
        if (m_endless && m_position == m_samples.size())
            m_position = 0;
        const qsizetype frames = std::min(kBlockFrames, m_samples.size() - m_position);
        if (frames == 0)
            return;
        m_node.process({static_cast<quint64>(frames), 1, m_samples.constData() + m_position});
        m_position += frames;
    }
}
