// Writes paramcor's bash completion, from the same command table as its parser
// and help, to the file named on the command line.
#include "Completion.h"

#include <QFile>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    QFile file(QString::fromLocal8Bit(argv[1]));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(paramcor::tool::bashCompletion().toUtf8()) < 0 || !file.flush()) {
        std::fprintf(stderr, "%s: %s\n", argv[1], qPrintable(file.errorString()));
        return 1;
    }
    return 0;
}
