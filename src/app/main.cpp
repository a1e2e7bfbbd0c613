#include "platform/Machine.h"

#include <QApplication>
#include <QLabel>
#include <QMainWindow>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    Machine::initFromEnvironment();
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("Tavrill"));
    window.setCentralWidget(new QLabel(QStringLiteral("Tavrill"), &window));
    window.resize(900, 600);
    window.show();
    return app.exec();
}
