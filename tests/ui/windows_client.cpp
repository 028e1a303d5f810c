// A program of the suite that links CVLParamcorUi and calls nothing of it: its
// message boxes must still be windows. Prints the class of the window shown.
#include <CVLParamcor/Platform.h>

#include <QApplication>
#include <QTimer>
#include <QWidget>

#include <cstdio>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QTimer::singleShot(0, [] {
        QWidget* shown = QApplication::activeModalWidget();
        std::printf("%s\n", shown != nullptr ? shown->metaObject()->className() : "no window");
        if (shown != nullptr)
            shown->close();
    });
    const int answer = paramcor::platform().messages->show("Finestra?", paramcor::mb::OkOnly, QString());
    std::fflush(stdout);
    return answer == paramcor::mb::Ok ? 0 : 1;
}
