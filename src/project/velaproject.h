#pragma once

#include "project/track.h"

#include <QList>
#include <QSharedPointer>
#include <QString>

/// A named position on the time line, in frames at the project's rate.
struct Marker {
    QString name;
    qint64 position = 0;
};

class VelaProject;
using ProjectHandle = QSharedPointer<VelaProject>;

/// The document: an ordered list of tracks plus the transport and view state
/// that engine and views share.
///
/// Every position and length is a signed 64-bit frame index at `sampleRate` Hz.
/// GUI thread only, no locks, no signals: whoever changes the project tells the
/// others. Held by shared handle (window, engine, views), never copied, so that
/// there is one truth about each position.
class VelaProject {
public:
    static constexpr qint32 kDefaultSampleRate = 44100;

    /// Makes an empty, untainted project at `rateHz`.
    static ProjectHandle create(qint32 rateHz = kDefaultSampleRate);

    explicit VelaProject(qint32 rateHz);
    Q_DISABLE_COPY_MOVE(VelaProject)
    ~VelaProject() = default;

    /// Appends a new track of `channels` empty channels and returns it. An empty
    /// name becomes "Track %1" with the increased track counter. Taints.
    TrackHandle addTrack(const QString& name, int channels);

    /// Appends an existing track and counts it. Null is ignored. Taints.
    void insertTrack(const TrackHandle& track);

    /// Drops the track at `index`; below 0 means the last one. Does nothing, and
    /// does not taint, if there is no such track.
    void removeTrack(int index);

    /// Drops every track; counter and taint stay as they are.
    void clearTracks();

    /// Frames of the longest track, 0 without tracks.
    [[nodiscard]] qint64 length() const;

    /// True when both selection ends are set and differ (in either order).
    [[nodiscard]] bool hasSelection() const;

    /// Clean or tainted → tainted.
    void taint(const QString& reason);

    /// Tainted or clean → clean; `taintedBy` keeps the last reason.
    void untaint(const QString& reason);

    QList<TrackHandle> tracks; ///< in display order
    qint32 sampleRate;         ///< Hz
    bool playing = false;
    bool looping = false;
    bool recording = false;
    Marker cursor;
    Marker play;
    qint64 selectionStart = -1; ///< where the selection began; −1: unset
    qint64 selectionEnd = -1;   ///< may lie before the start; −1: unset
    qint64 loopStart = 0;
    qint64 loopEnd = 0; ///< the loop range is valid when above `loopStart`
    qint64 viewStart = 0;
    qint64 viewEnd = 0;       ///< the view range is set when above `viewStart`
    double viewScale = 256.0; ///< frames per logical pixel
    bool tainted = false;
    QString taintedBy;       ///< the last reason, for diagnostics
    quint64 taints = 0;      ///< how often; only grows
    qint32 trackCounter = 0; ///< tracks ever added; only grows

private:
    void countTrack();
};
