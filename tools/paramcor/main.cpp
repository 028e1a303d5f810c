// paramcor: looks inside and changes what the CVLParamcor library keeps, for the
// people who install and support the suite. "paramcor --help" lists the commands.
#include "CommandLine.h"

#include <CVLParamcor/Parametri.h>

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    try {
        const int code = paramcor::tool::run(arguments);
        std::fflush(stdout);
        return code;
    } catch (const paramcor::tool::UsageError& error) {
        std::fprintf(stderr, "%s%s\n", qUtf8Printable(paramcor::tool::errorPrefix()), qUtf8Printable(error.text()));
        return 2;
    } catch (const paramcor::tool::Failure& error) {
        std::fprintf(stderr, "%s%s\n", qUtf8Printable(paramcor::tool::errorPrefix()), qUtf8Printable(error.text()));
        return error.code();
    } catch (const paramcor::tool::Reported&) {
        return 1;
    } catch (const paramcor::TextDatabaseError& error) {
        // A text database that fails midway: the file was named when it opened.
        std::fprintf(stderr, "%s%s\n", qUtf8Printable(paramcor::tool::errorPrefix()), qUtf8Printable(error.message()));
        return 1;
    }
}
