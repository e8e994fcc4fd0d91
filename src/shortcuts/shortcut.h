#pragma once

#include <QKeySequence>
#include <QString>

/// The contexts in which a shortcut applies.
inline constexpr char16_t kContextGlobal[] = u"global";
inline constexpr char16_t kContextTrackEditor[] = u"track_editor";

/// One command of the keyboard: what it is called and which key combination it
/// is documented with. Says nothing about whether the key is bound.
struct ShortcutEntry {
    QString id; ///< dotted, never translated and never changed
    QString context;
    QString name;
    QString description;
    QKeySequence key;
};

/// A modifier that is held down rather than a key that is pressed.
struct HoldEntry {
    QString id;
    QString context;
    QString name;
    QString description;
    quint32 modifiers = 0; ///< Qt::KeyboardModifier bits
};
