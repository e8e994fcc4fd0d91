#include "shortcuts/shortcutcatalogue.h"

#include "shortcuts/shortcutregistry.h"

#include <QCoreApplication>

#include <array>
#include <span>

namespace {

struct Row {
    const char* id;
    const char* name;
    const char* description;
    QKeyCombination key;
};

const std::array kApplicationRows = {
    Row{"vela.help", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Keyboard Help"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Show keyboard shortcuts dialog"), Qt::Key_F1},
    Row{"vela.play_stop", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Play / Stop"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Toggle playback (Shift = loop)"), Qt::Key_Space},
    Row{"vela.stop", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Stop"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Stop playback"), Qt::Key_Escape},
    Row{"vela.record", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Record"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Toggle recording"), Qt::Key_R},
    Row{"vela.go_start", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Go to Start"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Move cursor to project start"), Qt::Key_Home},
    Row{"vela.go_end", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Go to End"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Move cursor to project end"), Qt::Key_End},
    Row{"vela.open", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Open"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Open a project file"), Qt::CTRL | Qt::Key_O},
    Row{"vela.save", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Save"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Save the project file"), Qt::CTRL | Qt::Key_S},
    Row{"vela.new", QT_TRANSLATE_NOOP("ShortcutCatalogue", "New"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Clear / new project"), Qt::CTRL | Qt::Key_N},
    Row{"vela.fullscreen", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Fullscreen"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Toggle fullscreen mode"), Qt::Key_F11},
    Row{"vela.zoom_in", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Zoom In"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Zoom in on waveform"), Qt::CTRL | Qt::Key_Plus},
    Row{"vela.zoom_out", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Zoom Out"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Zoom out on waveform"), Qt::CTRL | Qt::Key_Minus},
    Row{"vela.zoom_fit", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Zoom to Fit"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Fit all tracks in view"), Qt::CTRL | Qt::Key_0},
    Row{"vela.zoom_sel", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Zoom to Selection"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Zoom to selected region"), Qt::CTRL | Qt::Key_E},
};

const std::array kTrackRows = {
    Row{"track.add", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Add Track"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Add a new track"), Qt::CTRL | Qt::Key_T},
    Row{"track.remove", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Remove Track"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Remove selected track"),
        Qt::CTRL | Qt::SHIFT | Qt::Key_T},
    Row{"track.mute", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Toggle Mute"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Mute/unmute selected track"), Qt::Key_M},
    Row{"track.solo", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Toggle Solo"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Solo/unsolo selected track"), Qt::Key_S},
    Row{"track.rename", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Rename Track"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Rename selected track"), Qt::Key_F2},
    Row{"track.select_all", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Select All"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Select all audio in track"), Qt::CTRL | Qt::Key_A},
    Row{"track.delete_sel", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Delete Selection"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Delete selected audio region"), Qt::Key_Delete},
    Row{"track.copy", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Copy"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Copy selection to clipboard"),
        Qt::CTRL | Qt::Key_C},
    Row{"track.cut", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Cut"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Cut selection to clipboard"), Qt::CTRL | Qt::Key_X},
    Row{"track.paste", QT_TRANSLATE_NOOP("ShortcutCatalogue", "Paste"),
        QT_TRANSLATE_NOOP("ShortcutCatalogue", "Paste from clipboard"), Qt::CTRL | Qt::Key_V},
};

QString translated(const char* text)
{
    return QCoreApplication::translate("ShortcutCatalogue", text);
}

QList<ShortcutEntry> group(const QString& context, std::span<const Row> rows)
{
    QList<ShortcutEntry> entries;
    for (const Row& row : rows) {
        entries.append({QString::fromLatin1(row.id), context, translated(row.name),
                        translated(row.description), QKeySequence(row.key)});
    }
    return entries;
}

} // namespace

void fillShortcutRegistry(ShortcutRegistry& registry)
{
    registry.registerShortcuts(group(QString::fromUtf16(kContextGlobal), kApplicationRows));
    registry.registerShortcuts(group(QString::fromUtf16(kContextTrackEditor), kTrackRows));
}
