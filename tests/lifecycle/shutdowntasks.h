#pragma once

#include "lifecycle/shutdowntask.h"

#include <QString>

#include <functional>
#include <utility>

/// A task of that id, which does `run` when the end is requested.
inline ShutdownTask task(const QString& id, std::function<void()> run = {})
{
    ShutdownTask made;
    made.id = id;
    made.run = std::move(run);
    return made;
}
