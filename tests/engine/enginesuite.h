#pragma once

#include "engine/velaengine.h"
#include "support/fakenodes.h"
#include "support/logcatcher.h"
#include "support/soundserver.h"

#include <QObject>
#include <QSharedPointer>

#include <memory>

class QTimer;

/// The base of suites with the engine on devices that deliver and fail as they are
/// told; the server only lends it devices to name. A test fails on a warning that it
/// does not claim.
class EngineSuite : public QObject {
    Q_OBJECT

protected:
    static constexpr int kPatienceMs = 20000;
    static constexpr int kRateHz = 48000;

    /// What the microphone hears, for a second. No stretch of it comes again within ten
    /// minutes, and each value is exact.
    [[nodiscard]] static float sampleAt(qint64 i);

    /// Of the nodes and the project that there are now.
    [[nodiscard]] std::unique_ptr<VelaEngine>
    makeEngine(qint64 maxTakeFrames = kMaxChannelSamples) const;

    /// Ten seconds on a track of their own.
    void addSound() const;

    /// The first of the pumps that run, or null.
    [[nodiscard]] static QTimer* runningPump(const VelaEngine& engine);

    /// Of that pump. It has done its work when this returns.
    [[nodiscard]] static bool waitForATick(const VelaEngine& engine);

    SoundServer m_server;
    std::unique_ptr<LogCatcher> m_log;
    ProjectHandle m_project;
    QSharedPointer<FakeOutputNode> m_output;
    QSharedPointer<FakeInputNode> m_input;

protected slots: // the test runner calls them
    void initTestCase();
    void init();
    void cleanup();
};
