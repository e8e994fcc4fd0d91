#pragma once

#include "project/audioimporter.h"
#include "support/stopwatch.h"

#include <QObject>
#include <QStringList>

/// One import and everything that was heard of it.
struct Import {
    explicit Import(const QString& path)
    {
        AudioImporter importer;
        QObject::connect(&importer, &AudioImporter::progressChanged,
                         [this](int percent) { progress.append(percent); });
        QObject::connect(&importer, &AudioImporter::errorOccurred,
                         [this](const QString& message) { errors.append(message); });
        const Stopwatch watch;
        track = importer.importFile(path);
        elapsedMs = watch.elapsedMs();
    }

    /// A track, no error, and 100 exactly once, at the end.
    [[nodiscard]] bool succeeded() const
    {
        return track && errors.isEmpty() && progress.count(100) == 1 && progress.last() == 100;
    }

    /// No track, one error, and never 100.
    [[nodiscard]] bool failed() const
    {
        return !track && errors.size() == 1 && !progress.contains(100);
    }

    TrackHandle track;
    QList<int> progress;
    QStringList errors;
    qint64 elapsedMs = 0;
};
