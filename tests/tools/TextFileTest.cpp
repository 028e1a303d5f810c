// testi esporta, importa and crea: the text database to and from translators' PO
// files, all or nothing, and new databases in the suite's layout.
#include "ToolTesting.h"

#include <QDate>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

namespace paramcor::test {
namespace {

// Columns of a row as textRows gives them.
constexpr int kItalian = 2;
constexpr int kModified = 18;
constexpr int kTranslated = 19;
constexpr int kCustomer = 20;

QString poString(const QString& text) {
    QString escaped = text;
    escaped.replace(u'\\', QStringLiteral("\\\\"))
        .replace(u'"', QStringLiteral("\\\""))
        .replace(u'\n', QStringLiteral("\\n"));
    return u'"' + escaped + u'"';
}

// An entry as libgettextpo writes a short one.
QString entry(const QString& key, const QString& italian, const QString& translation) {
    return QStringLiteral("msgctxt %1\nmsgid %2\nmsgstr %3\n")
        .arg(poString(key), poString(italian), poString(translation));
}

bool isShort(const QString& text) {
    return !text.isEmpty() && text.size() < 50 && !text.contains(u'"') && !text.contains(u'\\') &&
           !text.contains(u'\n') && text != QLatin1String("<NULL>");
}

// The user's texts after the first command has delivered them.
Rows deliveredTexts(const Workshop& workshop) {
    EXPECT_EQ(workshop.run({"lingua"}).code, 0);
    return textRows(workshop.userTexts());
}

// Keys of texts with a short Italian wording and a short translation in `column`.
QStringList shortTexts(const Rows& rows, int column, int count) {
    QStringList keys;
    for (const auto& [key, row] : rows)
        if (row[0] != QLatin1String("PARAM") && isShort(row[kItalian]) && isShort(row[column]) &&
            keys.size() < count * 7)
            keys << key;
    QStringList spread;
    for (int i = 0; i < count && !keys.isEmpty(); ++i)
        spread << keys[(keys.size() - 1) * i / std::max(count - 1, 1)];
    return spread;
}

struct Gettext {
    int code;
    QString err;
};

// One of gettext's own tools.
Gettext gettext(const QString& tool, const QStringList& arguments) {
    QProcess process;
    process.start(tool, arguments);
    if (!process.waitForFinished(60000))
        return {-1, process.errorString()};
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardError())};
}

// An export holds every text of its language, and translators' tools take it as
// it is: gettext's check finds nothing to say of any language's file or of the
// template, and a file brought up to date with msgmerge comes back unchanged.
TEST(ParamcorTextFiles, AnExportHoldsEveryTextAndGettextTakesItAsItIs) {
    const Workshop workshop;
    const Rows rows = deliveredTexts(workshop);
    const char* const codes[] = {"it", "en", "de", "fr", "es", "pt", "nl", "pl", "cs", "sv", "ro", "ru"};
    for (int language = 1; language <= 12; ++language) {
        const QString file = workshop.path(QStringLiteral("%1.po").arg(language));
        const Outcome run = workshop.run({"testi", "esporta", "--lingua", QString::number(language), file});
        ASSERT_TRUE(run.code == 0 && run.err.isEmpty()) << run;
        const QString po = QString::fromUtf8(fileBytes(file));
        EXPECT_TRUE(po.startsWith(QStringLiteral("msgid \"\"\nmsgstr \"\"\n"))) << language;
        EXPECT_TRUE(po.contains(QStringLiteral("\n\"Language: %1\\n\"\n").arg(QLatin1String(codes[language - 1]))))
            << language;
        EXPECT_TRUE(po.contains(QStringLiteral("\"Content-Type: text/plain; charset=UTF-8\\n\"\n"))) << language;
        const Gettext check = gettext(QStringLiteral("msgfmt"), {"-c", "-o", "/dev/null", file});
        EXPECT_TRUE(check.code == 0 && check.err.isEmpty()) << language << check.err.toStdString();
        if (language != 2)
            continue;
        int texts = 0;
        int translated = 0;
        int checked = 0;
        for (const auto& [key, row] : rows) {
            if (row[0] == QLatin1String("PARAM"))
                continue;
            ++texts;
            const QString english = row[3] == QLatin1String("<NULL>") ? QString() : row[3];
            translated += english.isEmpty() ? 0 : 1;
            if (isShort(row[kItalian]) && (english.isEmpty() || isShort(english))) {
                EXPECT_TRUE(po.contains(u'\n' + entry(key, row[kItalian], english))) << key.toStdString();
                ++checked;
            }
        }
        EXPECT_GT(checked, texts / 2);
        EXPECT_EQ(po.count(QStringLiteral("\nmsgctxt ")), texts);
        EXPECT_FALSE(po.contains(QStringLiteral("PARAM|")));
        EXPECT_EQ(run.out,
                  QStringLiteral("Exported %1 texts of Testo_02 (English) from %2 to %3, %4 of them translated\n")
                      .arg(texts)
                      .arg(workshop.userTexts(), file)
                      .arg(translated));
    }

    const QString pot = workshop.path("testi.pot");
    ASSERT_EQ(workshop.run({"testi", "esporta", "--modello", pot}).code, 0);
    const QString template_ = QString::fromUtf8(fileBytes(pot));
    const QString german = QString::fromUtf8(fileBytes(workshop.path("3.po")));
    EXPECT_EQ(template_.count(QStringLiteral("\nmsgctxt ")), german.count(QStringLiteral("\nmsgctxt ")));
    EXPECT_EQ(template_.count(QStringLiteral("\nmsgstr \"\"\n\n")) + 1, template_.count(QStringLiteral("\nmsgctxt ")))
        << "every msgstr empty";

    const QString merged = workshop.path("merged.po");
    const Gettext merge = gettext(QStringLiteral("msgmerge"), {"--quiet", "-o", merged, workshop.path("3.po"), pot});
    ASSERT_EQ(merge.code, 0) << merge.err.toStdString();
    const Gettext check = gettext(QStringLiteral("msgfmt"), {"-c", "-o", "/dev/null", merged});
    EXPECT_TRUE(check.code == 0 && check.err.isEmpty()) << check.err.toStdString();
    const Outcome back = workshop.run({"testi", "importa", merged});
    ASSERT_EQ(back.code, 0) << back;
    EXPECT_TRUE(
        back.out.contains(QStringLiteral("into Testo_03 (Deutsch) of %1: 0 texts changed").arg(workshop.userTexts())))
        << back;
    EXPECT_TRUE(back.out.endsWith(QStringLiteral(" 0 left out\n"))) << back;
    EXPECT_EQ(textRows(workshop.userTexts()), rows);
}

TEST(ParamcorTextFiles, AnEditedFileChangesExactlyTheEditedRows) {
    const Workshop workshop;
    const Rows before = deliveredTexts(workshop);
    const QString file = workshop.path("deutsch.po");
    ASSERT_EQ(workshop.run({"testi", "esporta", "--lingua", "3", file}).code, 0);
    QString po = QString::fromUtf8(fileBytes(file));

    // A translator changes three translations; marks a fourth change as unsure
    // (fuzzy), which is left out; a fifth entry translates a wording the texts no
    // longer have.
    const QStringList keys = shortTexts(before, 4, 5);
    ASSERT_EQ(keys.size(), 5);
    std::map<QString, QString> edited;
    for (int i = 0; i < 5; ++i) {
        const QStringList& row = before.at(keys[i]);
        const QString old = entry(keys[i], row[kItalian], row[4]);
        ASSERT_TRUE(po.contains(old)) << keys[i].toStdString();
        const QString changed = row[4] + QStringLiteral(" (überarbeitet)");
        if (i < 3) {
            po.replace(old, entry(keys[i], row[kItalian], changed));
            edited[keys[i]] = changed;
        } else if (i == 3) {
            po.replace(old, QStringLiteral("#, fuzzy\n") + entry(keys[i], row[kItalian], changed));
        } else {
            po.replace(old, entry(keys[i], row[kItalian] + QStringLiteral(" vecchia"), changed));
        }
    }
    writeFile(file, po.toUtf8());

    const Outcome run = workshop.run({"testi", "importa", file});
    ASSERT_EQ(run.code, 0) << run;
    EXPECT_TRUE(
        run.out.contains(QStringLiteral("into Testo_03 (Deutsch) of %1: 3 texts changed").arg(workshop.userTexts())))
        << run;
    EXPECT_TRUE(run.out.contains(QStringLiteral(", 2 left out"))) << run;
    // Each entry left out is named, with the reason.
    QStringList named = run.errLines();
    QStringList warnings({QStringLiteral("paramcor: warning: %1 \"%2\" left out: marked fuzzy (unsure)")
                              .arg(keys[3], before.at(keys[3])[kItalian]),
                          QStringLiteral("paramcor: warning: %1 \"%2 vecchia\" left out: it translates an older "
                                         "Italian wording; the text now reads \"%2\"")
                              .arg(keys[4], before.at(keys[4])[kItalian])});
    named.sort();
    warnings.sort();
    EXPECT_EQ(named, warnings) << run;

    Rows expectedRows = before;
    const QString today = QDate::currentDate().toString(QStringLiteral("yyyyMMdd"));
    for (const auto& [key, changed] : edited) {
        QStringList& row = expectedRows[key];
        row[4] = changed;
        row[kModified] = today;
        row[kTranslated][2] = u'T';
        row[kCustomer] = QStringLiteral("1");  // the customer's correction: deliveries keep it
    }
    const Rows after = textRows(workshop.userTexts());
    EXPECT_EQ(after, expectedRows);

    // The same file again changes nothing.
    const Outcome again = workshop.run({"testi", "importa", file});
    EXPECT_TRUE(again.out.contains(QStringLiteral(": 0 texts changed"))) << again;
    EXPECT_EQ(textRows(workshop.userTexts()), after);
}

// From the file's header or the command line; into the user's texts or, with
// --file, a database being prepared for delivery, which stays the maker's: no
// installation is needed and no correction of the customer's is marked.
TEST(ParamcorTextFiles, TheLanguageComesFromTheFileOrTheCommandLine) {
    const Workshop workshop;
    const QString delivery = workshop.path("CvlTrad.mdb");
    ASSERT_TRUE(QFile::copy(QStringLiteral(CVLPARAMCOR_SAMPLES) + QStringLiteral("/Testi/CvlTrad.mdb"), delivery));
    QFile::setPermissions(delivery, QFile::ReadOwner | QFile::WriteOwner);
    const Rows sample = textRows(delivery);
    const QString key = shortTexts(sample, 6, 1).front();
    const struct {
        QString header;
        QStringList options;
        int language;
    } cases[] = {
        {"\"Language: es_ES\\n\"\n", {"--file", delivery}, 5},
        {"\"X-CVLParamcor-Lingua: 5\\n\"\n", {}, 5},
        {"\"Language: fr\\n\"\n", {}, 4},
        {"\"Language: fr\\n\"\n", {"--lingua", "7"}, 7},
    };
    for (const auto& c : cases) {
        const QString file = workshop.path("lingua.po");
        writeFile(file, (QStringLiteral("msgid \"\"\nmsgstr \"\"\n\"Content-Type: text/plain; charset=UTF-8\\n\"\n") +
                         c.header + u'\n' + entry(key, sample.at(key)[kItalian], QStringLiteral("Otra")))
                            .toUtf8());
        const Outcome run = workshop.run(QStringList{"testi", "importa", file} + c.options);
        ASSERT_EQ(run.code, 0) << run;
        const QStringList row = textRows(c.options.value(0) == "--file" ? delivery : workshop.userTexts()).at(key);
        EXPECT_EQ(row[c.language + 1], QStringLiteral("Otra")) << run;
        if (c.options.value(0) == "--file") {
            EXPECT_TRUE(run.out.contains(QStringLiteral("Testo_05 (Español)"))) << run;
            EXPECT_EQ(row[kCustomer], sample.at(key)[kCustomer]);
            EXPECT_FALSE(QFileInfo::exists(workshop.userTexts()));
        }
    }
}

struct BadPo {
    const char* label;
    QByteArray bytes;  // "@ENTRY@" stands for a good entry of the texts
    QString says;
};

void PrintTo(const BadPo& bad, std::ostream* os) {
    *os << bad.label;
}

const QByteArray kHeader =
    "msgid \"\"\nmsgstr \"\"\n\"Content-Type: text/plain; charset=UTF-8\\n\"\n\"Language: en\\n\"\n\n";

class ParamcorBadPoFile : public ::testing::TestWithParam<BadPo> {};

TEST_P(ParamcorBadPoFile, IsRefusedAndNothingIsImported) {
    const Workshop workshop;
    const Rows before = deliveredTexts(workshop);
    // A good change first: the fault further on must keep it out too.
    const QString key = shortTexts(before, 3, 1).front();
    QByteArray bytes = GetParam().bytes;
    bytes.replace("@ENTRY@", entry(key, before.at(key)[kItalian], QStringLiteral("Changed")).toUtf8());
    const QString file = workshop.path("guasto.po");
    writeFile(file, bytes);

    const Outcome run = workshop.run({"testi", "importa", file});
    expectRefused(run, 1, GetParam().says);
    EXPECT_TRUE(run.err.startsWith(QStringLiteral("paramcor: testi importa: ") + file)) << run;
    EXPECT_TRUE(run.err.contains(QStringLiteral("nothing was imported"))) << run;
    EXPECT_EQ(textRows(workshop.userTexts()), before);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, ParamcorBadPoFile,
    ::testing::Values(
        BadPo{"Garbage", kHeader + "@ENTRY@\nthis is not a PO file\n", ":10: "},
        BadPo{"CutInAString", kHeader + "@ENTRY@\nmsgctxt \"X|1\"\nmsgid \"Ciao\"\nmsgstr \"Hel",
              ":12: end-of-file within string"},
        BadPo{"NoTranslation", kHeader + "@ENTRY@\nmsgctxt \"X|1\"\nmsgid \"Ciao\"\n", ":11: missing 'msgstr' section"},
        BadPo{"Twice", kHeader + "@ENTRY@\n@ENTRY@", ":11: duplicate message definition"},
        BadPo{"NotUtf8", kHeader + "@ENTRY@\nmsgctxt \"X|1\"\nmsgid \"Perch\xE9\"\nmsgstr \"Why\"\n",
              ":11: invalid multibyte sequence"},
        BadPo{
            "Latin1",
            QByteArray("msgid \"\"\nmsgstr \"\"\n\"Content-Type: text/plain; charset=ISO-8859-1\\n\"\n\n") + "@ENTRY@",
            "is written in ISO-8859-1"},
        BadPo{"Utf16", windowsText(QString::fromUtf8(kHeader + "@ENTRY@")), "is UTF-16 text"},
        BadPo{"NoKey", kHeader + "@ENTRY@\nmsgid \"Ciao\"\nmsgstr \"Hello\"\n", "\"Ciao\" has no key"},
        BadPo{"KeyWithoutBar", kHeader + "@ENTRY@\nmsgctxt \"X\"\nmsgid \"Ciao\"\nmsgstr \"Hello\"\n",
              "\"Ciao\" has no key"},
        BadPo{"Plural",
              kHeader + "@ENTRY@\nmsgctxt \"X|1\"\nmsgid \"lastra\"\nmsgid_plural \"lastre\"\n"
                        "msgstr[0] \"slab\"\nmsgstr[1] \"slabs\"\n",
              "\"lastra\" has plural forms"},
        BadPo{"NoLanguage", "msgid \"\"\nmsgstr \"\"\n\"Content-Type: text/plain; charset=UTF-8\\n\"\n\n@ENTRY@",
              "does not say which language it holds"}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(ParamcorTextFiles, HugeMissingAndZeroFilledFilesAreRefused) {
    const Workshop workshop;
    const Rows before = deliveredTexts(workshop);
    const QString huge = workshop.path("enorme.po");
    writeHugeFile(huge, 65 * 1024 * 1024);
    const QString zeros = workshop.path("zeri.po");
    writeFile(zeros, QByteArray(100, '\0'));
    const struct {
        QString file;
        const char* says;
    } cases[] = {{huge, "too large"}, {workshop.path("mancante.po"), "no such file"}, {zeros, "unexpected encoding"}};
    for (const auto& c : cases)
        expectRefused(workshop.run({"testi", "importa", "--lingua", "2", c.file}), 1, QString::fromUtf8(c.says));
    EXPECT_EQ(textRows(workshop.userTexts()), before);

    // Exports that cannot be made leave no file.
    for (const QStringList& line : {QStringList{"--file", workshop.path("nessuno.mdb"), workshop.path("a.po")},
                                    QStringList{workshop.path("no/such/folder/b.po")}}) {
        expectRefused(workshop.run(QStringList{"testi", "esporta", "--lingua", "2"} + line), 1, QString());
        EXPECT_FALSE(QFileInfo::exists(line.last()));
    }
}

TEST(ParamcorTextFiles, ANewDatabaseHasTheSuitesLayout) {
    const Workshop workshop;
    const QString file = workshop.path("CvlTrad.mdb");
    const Outcome run = workshop.run({"testi", "crea", file});
    ASSERT_EQ(run.code, 0) << run;
    EXPECT_TRUE(run.err.isEmpty()) << run;

    QStringList columns = {"Programma", "Progressivo", "TESTO_01"};
    for (int n = 2; n <= 15; ++n)
        columns << QStringLiteral("Testo_%1").arg(n, 2, 10, QLatin1Char('0'));
    columns << "DataCreazione" << "DataModifica" << "Tradotti" << "ModificatoDalCliente" << "Commento"
            << "ChiaviRicerca";
    const struct {
        const char* sql;
        QStringList rows;
    } layout[] = {
        {"SELECT name FROM pragma_table_info('Testi') ORDER BY cid", columns},
        {"SELECT count(*) FROM Testi", {"0"}},
        {"SELECT Versione FROM Versione", {"6.0.0"}},
        {"SELECT name, \"unique\" FROM pragma_index_list('Testi') ORDER BY name", {"TestiK1 1", "TestiK2 0"}},
        {"SELECT name, coll FROM pragma_index_xinfo('TestiK1') WHERE key ORDER BY seqno",
         {"Programma NOCASE", "Progressivo NOCASE"}},
        {"SELECT name, coll FROM pragma_index_xinfo('TestiK2') WHERE key", {"TESTO_01 NOCASE"}},
    };
    for (const auto& l : layout)
        EXPECT_EQ(query(file, QString::fromUtf8(l.sql)), l.rows) << l.sql;
    EXPECT_TRUE(QFileInfo(file).permissions() & QFile::ReadOther);

    // Delivered to the installation, it is merged like any delivery.
    const QString delivered = workshop.installation() + QStringLiteral("/Testi/CvlTrad.mdb");
    ASSERT_TRUE(QFile::remove(delivered));
    ASSERT_TRUE(QFile::copy(file, delivered));
    EXPECT_EQ(workshop.run({"lingua"}).code, 0);
    EXPECT_EQ(textRows(workshop.userTexts()).size(), 5u);  // the unit rows alone

    // It is never made over an existing file, nor without its folder.
    const QByteArray kept = fileBytes(file);
    for (const QString& target : {file, workshop.path("no/such/folder/x.mdb")})
        expectRefused(workshop.run({"testi", "crea", target}), 1, QString());
    EXPECT_EQ(fileBytes(file), kept);
}

}  // namespace
}  // namespace paramcor::test
