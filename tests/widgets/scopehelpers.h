#pragma once

#include "widgets/unifiedaudioscope.h"

#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QImage>
#include <QMenu>
#include <QPointer>
#include <QTimer>

#include <memory>

/// What the suites about the scope have in common.
namespace scope_helpers {

constexpr QRgb kBlack = qRgb(0, 0, 0);
constexpr QRgb kEmpty = qRgb(34, 34, 34);

inline void push(UnifiedAudioScope& scope, int channel, const QList<float>& samples)
{
    scope.push(channel, samples.constData(), static_cast<int>(samples.size()));
}

inline std::unique_ptr<UnifiedAudioScope> shownScope(QSize size)
{
    auto scope = std::make_unique<UnifiedAudioScope>();
    scope->resize(size);
    scope->show();
    return scope;
}

inline QTimer* tickTimer(UnifiedAudioScope& scope)
{
    return scope.findChild<QTimer*>();
}

/// The context menu, asked for as the Menu key does.
inline QPointer<QMenu> openMenu(UnifiedAudioScope& scope)
{
    QContextMenuEvent event(QContextMenuEvent::Keyboard, scope.rect().center(),
                            scope.mapToGlobal(scope.rect().center()));
    QCoreApplication::sendEvent(&scope, &event);
    return scope.findChild<QMenu*>();
}

inline bool isAll(const QImage& image, QRgb colour)
{
    QImage plain(image.size(), QImage::Format_RGB32);
    plain.fill(colour);
    return image == plain;
}

} // namespace scope_helpers
