#include <QGuiApplication>
#include <QImage>
#include <QImageReader>

#include <cstdio>

/// render_icons SVG PNG SIZE [PNG SIZE]...: draws the square picture at each size.
int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 4 || arguments.size() % 2 != 0) {
        std::fputs("usage: render_icons SVG PNG SIZE [PNG SIZE]...\n", stderr);
        return 2;
    }
    for (qsizetype i = 2; i < arguments.size(); i += 2) {
        QImageReader reader(arguments[1]);
        const int size = arguments[i + 1].toInt();
        reader.setScaledSize(QSize(size, size));
        const QImage image = reader.read();
        if (image.size() != QSize(size, size) || !image.save(arguments[i], "PNG")) {
            std::fprintf(stderr, "render_icons: cannot draw %s at %d: %s\n",
                         qPrintable(arguments[1]), size, qPrintable(reader.errorString()));
            return 1;
        }
    }
    return 0;
}
