#pragma once

#include "project/velaproject.h"
#include "support/logcatcher.h"
#include "widgets/waveformview.h"

#include <QObject>

#include <memory>

/// The base of suites whose tests each get a view of 400 by 120 pixels on the screen, on
/// a track "Take" of 4000 frames: ten a pixel. The cursor is out of sight. A test fails on
/// a warning.
class WaveformSuite : public QObject {
    Q_OBJECT

protected:
    static constexpr int kWidth = 400;
    static constexpr int kHeight = 120;

    /// `sample` is the value of each frame.
    explicit WaveformSuite(float sample = 0.5F);

    std::unique_ptr<LogCatcher> m_log;
    ProjectHandle m_project;
    std::unique_ptr<WaveformView> m_view;

protected slots: // the test runner calls them
    void init();
    void cleanup();

private:
    float m_sample;
};
