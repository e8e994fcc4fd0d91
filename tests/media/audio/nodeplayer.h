#pragma once

#include "media/audio/audiooutputnode.h"

#include <QList>
#include <QObject>
#include <QTimer>

#include <chrono>

/// Each mono sample on the left and the right of a frame.
QList<float> onBothChannels(const QList<float>& mono);

/// Writes a mono sound into a node the way the engine does: on a timer, block by
/// block as the ring has room, from the thread's event loop.
class NodePlayer : public QObject {
    Q_OBJECT

public:
    /// A sound of the caller's, once.
    NodePlayer(media::audio::AudioOutputNode& node, const QList<float>& mono);

    /// A steady tone, for ever.
    explicit NodePlayer(media::audio::AudioOutputNode& node);

    /// Everything is in the ring.
    [[nodiscard]] bool isDone() const { return !m_endless && m_position == m_samples.size(); }

private:
    void pump();

    media::audio::AudioOutputNode& m_node;
    QList<double> m_samples;
    qsizetype m_position = 0;
    bool m_endless = false;
    QTimer m_timer;
};
