#include "lifecycle/shutdownlifecycle.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QThread>

#include <thread>

/// Makes the coordinator on a thread that is gone at the end, leaves two tasks
/// (one with an icon) unfinished, and exits by returning from main.
int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    QPixmap pixmap(16, 16);
    pixmap.fill(Qt::red);
    ShutdownTask withIcon;
    withIcon.icon = QIcon(pixmap);
    withIcon.id = QStringLiteral("first");
    ShutdownTask plain;
    plain.id = QStringLiteral("second");
    std::thread([&] {
        (void)ShutdownLifecycle::instance().registerTask(withIcon);
        (void)ShutdownLifecycle::instance().registerTask(plain);
    }).join();
    return ShutdownLifecycle::instance().thread() == QThread::currentThread() ? 0 : 1;
}
