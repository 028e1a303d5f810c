#include "ToolTesting.h"

#include "base/SqlDatabase.h"

#include <QDir>
#include <QFile>
#include <QProcess>

namespace paramcor::test {

std::ostream& operator<<(std::ostream& os, const Outcome& run) {
    return os << "exit code " << run.code << "\n--- stdout\n"
              << run.out.toStdString() << "--- stderr\n"
              << run.err.toStdString();
}

void expectRefused(const Outcome& run, int code, const QString& says) {
    EXPECT_EQ(run.code, code) << run;
    EXPECT_TRUE(run.out.isEmpty()) << run;
    EXPECT_EQ(run.err.count(u'\n'), 1) << run;
    EXPECT_TRUE(run.err.startsWith(QStringLiteral("paramcor: ")) && run.err.contains(says))
        << "expected: " << says.toStdString() << '\n'
        << run;
}

Outcome runTool(const QStringList& arguments, const QByteArray& input, const QString& locale) {
    // The library's default store is the user's: keep it in a folder of the tests.
    static QTemporaryDir home;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home.path());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.path() + QStringLiteral("/config"));
    // A new user's language follows the login's: the same for every run of the tests.
    environment.remove(QStringLiteral("LC_ALL"));
    environment.remove(QStringLiteral("LC_MESSAGES"));
    environment.insert(QStringLiteral("LANG"), locale);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(PARAMCOR_TOOL), arguments);
    process.write(input);
    process.closeWriteChannel();
    Outcome run;  // a tool that does not end is killed with the process object
    const bool ended = process.waitForFinished(240000) && process.exitStatus() == QProcess::NormalExit;
    run.code = ended ? process.exitCode() : -2;
    run.bytes = process.readAllStandardOutput();
    run.out = QString::fromUtf8(run.bytes);
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

Workshop::Workshop(const QByteArray& installationFile, bool untouched) {
    const QString samples = QStringLiteral(CVLPARAMCOR_SAMPLES);
    const QString texts = installation() + QStringLiteral("/Testi/CvlTrad.mdb");
    EXPECT_TRUE(QDir().mkpath(installation() + QStringLiteral("/Testi")));
    writeFile(installation() + QStringLiteral("/ParamCor.txt"),
              installationFile.isEmpty() ? fileBytes(samples + QStringLiteral("/ParamCor.txt")) : installationFile);
    writeFile(texts, fileBytes(samples + QStringLiteral("/Testi/CvlTrad.mdb")));
    if (untouched)
        return;
    EXPECT_TRUE(QDir().mkpath(registry()));
    auto users = store();
    putValue(users, Hive::CurrentUser, kSuite, "Lingua", regtype::String, utf8(QStringLiteral("2")));
}

Outcome Workshop::run(const QStringList& arguments, const QByteArray& input) const {
    return runTool(
        QStringList{QStringLiteral("--registro"), registry(), QStringLiteral("--installazione"), installation()} +
            arguments,
        input);
}

std::vector<std::uint8_t> dword(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
            static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
}

std::vector<std::uint8_t> utf8(const QString& text) {
    const QByteArray bytes = text.toUtf8();
    return {bytes.begin(), bytes.end()};
}

QByteArray windowsText(const QString& lf) {
    QString text = lf;
    text.replace(QStringLiteral("\n"), QStringLiteral("\r\n"));
    QByteArray bytes("\xFF\xFE", 2);
    for (const QChar c : text)
        bytes.append(static_cast<char>(c.unicode() & 0xFF)).append(static_cast<char>(c.unicode() >> 8));
    return bytes;
}

QList<QStringList> plainTexts(const QString& database, int count) {
    QList<QStringList> texts;
    for (const QString& row : query(
             database,
             QStringLiteral(
                 "SELECT Programma || '\t' || Progressivo || '\t' || TESTO_01 || '\t' || Testo_03 || '\t' || Testo_02 "
                 "FROM Testi WHERE Programma <> 'PARAM' AND length(TESTO_01) BETWEEN 1 AND 40 "
                 "AND length(Testo_03) BETWEEN 1 AND 40 AND length(Testo_02) BETWEEN 1 AND 40 "
                 "AND NOT (TESTO_01 || Testo_03 || Testo_02) GLOB '*[\"\\\n\t]*' AND Programma NOT GLOB '*[ |]*' "
                 "AND (SELECT count(*) FROM Testi t WHERE t.TESTO_01 = Testi.TESTO_01) = 1 "
                 "ORDER BY Programma, Progressivo")))
        texts << row.split(u'\t');
    EXPECT_GE(texts.size(), count);
    return texts.mid(0, count);
}

QStringList query(const QString& database, const QString& sql, const QStringList& values) {
    QStringList rows;
    try {
        const bool reads = sql.startsWith(QLatin1String("SELECT"));
        SqlDatabase db(database, reads ? SqlDatabase::Mode::ReadOnly : SqlDatabase::Mode::ReadWrite);
        SqlStatement statement = db.prepare(sql.toUtf8().constData());
        for (int i = 0; i < values.size(); ++i)
            statement.bind(i + 1, values[i]);
        while (statement.step()) {
            QStringList columns;
            for (int c = 0; c < statement.columnCount(); ++c)
                columns << (statement.isNull(c) ? QStringLiteral("<NULL>") : statement.text(c));
            rows << columns.join(u' ');
        }
    } catch (const std::exception& e) {
        ADD_FAILURE() << database.toStdString() << ": " << e.what();
    }
    return rows;
}

}  // namespace paramcor::test
