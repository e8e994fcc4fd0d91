// The least program that shows a window with a control, up to its first paint.

#include <QApplication>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(new QPushButton(QStringLiteral("Play")));
    window.show();
    return QApplication::exec();
}
