// paramcor: looks inside and changes what the CVLParamcor library keeps, for the
// people who install and support the suite. "paramcor --help" lists the commands.
#include "CommandLine.h"
#include "Output.h"

#include <CVLParamcor/Parametri.h>

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    try {
        return paramcor::tool::run(arguments);
    } catch (const paramcor::tool::UsageError& error) {
        std::fprintf(stderr, "%s%s\n", qUtf8Printable(paramcor::tool::errorPrefix()), qUtf8Printable(error.text()));
        return paramcor::tool::kWrongCommandLine;
    } catch (const paramcor::tool::Failure& error) {
        std::fprintf(stderr, "%s%s\n", qUtf8Printable(paramcor::tool::errorPrefix()), qUtf8Printable(error.text()));
        return error.code();
    } catch (const paramcor::tool::Reported&) {
        return paramcor::tool::kFailed;
    } catch (const paramcor::TextDatabaseError& error) {
        // A text database that fails midway: the file was named when it opened.
        std::fprintf(stderr, "%s%s\n", qUtf8Printable(paramcor::tool::errorPrefix()), qUtf8Printable(error.message()));
        return paramcor::tool::kFailed;
    }
}
