#include "app/velalayout.h"

#include "app/accessibleroles.h"
#include "app/activitystrip.h"
#include "app/iconbutton.h"
#include "app/trackstack.h"
#include "widgets/stereoseparationwidget.h"
#include "widgets/unifiedaudioscope.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>
#include <QWidget>

namespace {

constexpr int kScopeSideMargin = 2;
/// A margin that the toolkit takes as "what the style says".
constexpr int kStyleDefault = -1;
/// Below toolbar and above scopes.
constexpr int kActivityIndex = 1;

QString text(const char* source)
{
    return QCoreApplication::translate("Vela", source);
}

/// At the end of the row, or at `place` in it.
IconButton* addButton(QHBoxLayout* layout, const char* name, const char* label, int place = -1)
{
    auto* button = new IconButton;
    button->setObjectName(QString::fromLatin1(name));
    button->setText(text(label));
    layout->insertWidget(place, button);
    return button;
}

} // namespace

void VelaLayout::build(QWidget* window)
{
    accessible_roles::install();
    window->setObjectName(QStringLiteral("Vela"));
    window->setWindowTitle(text(QT_TRANSLATE_NOOP("Vela", "Vela Audio Editor")));
    auto* outer = new QVBoxLayout(window);
    outer->setObjectName(QStringLiteral("verticalLayoutOuter"));
    outer->setContentsMargins(0, 0, 0, 0);
    auto* main = new QWidget(window);
    main->setObjectName(QStringLiteral("widgetMain"));
    outer->addWidget(main);
    verticalLayout = new QVBoxLayout(main);
    verticalLayout->setObjectName(QStringLiteral("verticalLayout"));
    verticalLayout->setContentsMargins(0, 0, 0, 0);

    buildToolbar(main);
    // Made before the scopes, so that the focus passes it where the eye does.
    activity = new ActivityStrip(verticalLayout, kActivityIndex, main);
    buildScopes(main);
    tracks = new TrackStack(main);
    verticalLayout->addWidget(tracks, 1);
    finishButtons();
}

void VelaLayout::buildToolbar(QWidget* parent)
{
    toolbarLayout = new QHBoxLayout;
    toolbarLayout->setObjectName(QStringLiteral("toolbarLayout"));
    verticalLayout->addLayout(toolbarLayout);
    load = addButton(toolbarLayout, "pushButtonLoad", QT_TRANSLATE_NOOP("Vela", "Load"));
    save = addButton(toolbarLayout, "pushButtonSave", QT_TRANSLATE_NOOP("Vela", "Save"));
    clear = addButton(toolbarLayout, "pushButtonClear", QT_TRANSLATE_NOOP("Vela", "Clear"));
    toolbarLayout->addStretch();
    buildTransport();
    toolbarLayout->addStretch();
    position = new QLabel(QStringLiteral("00:00:00.000"), parent);
    position->setObjectName(QStringLiteral("labelPosition"));
    position->setAccessibleDescription(text(QT_TRANSLATE_NOOP("Vela", "Position")));
    position->setStyleSheet(QStringLiteral(
        "QLabel { color: #0f0; font-family: monospace; font-size: 13px; padding: 2px 6px; "
        "background: #222; border: 1px solid #555; border-radius: 3px; }"));
    toolbarLayout->addWidget(position);
    toolbarLayout->addStretch();
    help = addButton(toolbarLayout, "pushButtonHelp", QT_TRANSLATE_NOOP("Vela", "Help"));
}

/// Time runs to the right in every direction of reading, so Go to start stays on the left
/// of Go to end where the rest of the row is mirrored.
void VelaLayout::buildTransport()
{
    const bool mirrored = QGuiApplication::isRightToLeft();
    const int first = toolbarLayout->count();
    const auto add = [&](const char* name, const char* label) {
        return addButton(toolbarLayout, name, label, mirrored ? first : -1);
    };
    goStart = add("pushButtonGoStart", QT_TRANSLATE_NOOP("Vela", "|<"));
    playStop = add("pushButtonPlayStop", QT_TRANSLATE_NOOP("Vela", "Play"));
    stop = add("pushButtonStop", QT_TRANSLATE_NOOP("Vela", "Stop"));
    record = add("pushButtonRecord", QT_TRANSLATE_NOOP("Vela", "Rec"));
    goEnd = add("pushButtonGoEnd", QT_TRANSLATE_NOOP("Vela", ">|"));
}

void VelaLayout::buildScopes(QWidget* parent)
{
    auto* scopeLayout = new QHBoxLayout;
    scopeLayout->setObjectName(QStringLiteral("scopeLayout"));
    verticalLayout->addLayout(scopeLayout);
    scopeLayout->setContentsMargins(kScopeSideMargin, kStyleDefault, kScopeSideMargin,
                                    kStyleDefault);
    scope = new UnifiedAudioScope(parent);
    scope->setObjectName(QStringLiteral("audioScope"));
    stereo = new StereoSeparationWidget(parent);
    stereo->setObjectName(QStringLiteral("stereoSeparation"));
    scopeLayout->addWidget(scope);
    // Aligned, or its fixed height would hold the scope to its least one.
    scopeLayout->addWidget(stereo, 0, Qt::AlignVCenter);
}

void VelaLayout::finishButtons()
{
    const auto finish = [](IconButton* button, const char* icon, const char* toolTip) {
        button->finish(QString::fromLatin1(icon), text(toolTip));
    };
    finish(load, ":/icons/app/load.svg", QT_TRANSLATE_NOOP("Vela", "Open project"));
    finish(save, ":/icons/app/save.svg", QT_TRANSLATE_NOOP("Vela", "Save project"));
    finish(clear, ":/icons/app/clear.svg", QT_TRANSLATE_NOOP("Vela", "New project"));
    finish(goStart, ":/icons/media/previous.svg", QT_TRANSLATE_NOOP("Vela", "Go to start"));
    finish(playStop, ":/icons/media/play.svg",
           QT_TRANSLATE_NOOP("Vela", "Play / Stop (Space, Shift+Space = loop)"));
    finish(stop, ":/icons/media/stop.svg", QT_TRANSLATE_NOOP("Vela", "Stop"));
    finish(record, ":/icons/media/record.svg", QT_TRANSLATE_NOOP("Vela", "Record"));
    finish(goEnd, ":/icons/media/next.svg", QT_TRANSLATE_NOOP("Vela", "Go to end"));
    finish(help, ":/icons/app/help.svg", QT_TRANSLATE_NOOP("Vela", "Keyboard shortcuts (F1)"));
    playStop->setCheckable(true);
    record->setCheckable(true);
}
