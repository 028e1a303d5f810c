// The floor of a Qt program's start: a Core application that prints one line and
// exits, as `qtpaths --version` does. paramcor's start is compared with it.
#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    std::printf("%s\n", qVersion());
    return 0;
}
