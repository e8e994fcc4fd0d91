#include "app/accessibleroles.h"

#include "app/activitystrip.h"
#include "widgets/stereoseparationwidget.h"
#include "widgets/trackwidget.h"
#include "widgets/unifiedaudioscope.h"
#include "widgets/waveformview.h"

#include <QAccessibleWidget>

#include <array>

namespace accessible_roles {

namespace {

struct Part {
    const QMetaObject* type;
    QAccessible::Role role;
};

constexpr std::array kParts{
    Part{&ActivityStrip::staticMetaObject, QAccessible::AlertMessage},
    Part{&TrackWidget::staticMetaObject, QAccessible::Grouping},
    Part{&WaveformView::staticMetaObject, QAccessible::Graphic},
    Part{&UnifiedAudioScope::staticMetaObject, QAccessible::Animation},
    Part{&StereoSeparationWidget::staticMetaObject, QAccessible::Animation},
};

QAccessibleInterface* make(const QString& className, QObject* object)
{
    for (const Part& part : kParts) {
        if (className == QLatin1String(part.type->className()))
            return new QAccessibleWidget(static_cast<QWidget*>(object), part.role);
    }
    return nullptr;
}

} // namespace

void install()
{
    QAccessible::installFactory(make);
}

} // namespace accessible_roles
