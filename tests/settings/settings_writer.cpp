#include "settings/settings.h"

#include <QCoreApplication>

#include <cstdio>

/// settings_writer FILE KEY COUNT: writes COUNT values under KEY, the n-th being
/// n letters long, each one to disk. Prints a line once the first is there.
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 4)
        return 2;

    // Every look at the clock finds a quiet time behind it.
    qint64 now = 0;
    Settings::Environment environment;
    environment.clock = [&now] { return now += Settings::kWriteInterval.count() + 1; };
    Settings settings({}, {}, {}, arguments[1], environment);
    const int count = arguments[3].toInt();
    for (int i = 1; i <= count; ++i) {
        settings.setCustomValue(arguments[2], QString(i, u'x'));
        if (i == 1) {
            std::puts("first");
            std::fflush(stdout);
        }
    }
    return settings.isDirty() ? 1 : 0;
}
