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
    Part{&UnifiedAudioScope::staticMetaObject, QAccessible::Animation},
    Part{&StereoSeparationWidget::staticMetaObject, QAccessible::Animation},
};

/// The waveform is where the cursor is set, so it is a slider: from 0 to the project's
/// length, in seconds.
class WaveformPart : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    explicit WaveformPart(WaveformView* view)
        : QAccessibleWidget(view, QAccessible::Slider)
        , m_view(view)
    {
    }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::ValueInterface)
            return static_cast<QAccessibleValueInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }

    [[nodiscard]] QVariant currentValue() const override { return m_view->cursorSeconds(); }

    void setCurrentValue(const QVariant& value) override
    {
        m_view->placeCursorAt(value.toDouble());
    }

    [[nodiscard]] QVariant maximumValue() const override { return m_view->lengthSeconds(); }

    [[nodiscard]] QVariant minimumValue() const override { return 0.0; }

    [[nodiscard]] QVariant minimumStepSize() const override { return 0.0; }

private:
    WaveformView* m_view;
};

QAccessibleInterface* make(const QString& className, QObject* object)
{
    if (className == QLatin1String(WaveformView::staticMetaObject.className()))
        return new WaveformPart(static_cast<WaveformView*>(object));
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
