#include "firstpaint.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>
#include <QWidget>

#include <unistd.h>

namespace {

class FirstPaint : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && watched->isWidgetType())
            QTimer::singleShot(0, this, [] { ::_exit(0); });
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

void endAtFirstPaint()
{
    QCoreApplication* application = QCoreApplication::instance();
    application->installEventFilter(new FirstPaint(application));
}

Q_COREAPP_STARTUP_FUNCTION(endAtFirstPaint)
