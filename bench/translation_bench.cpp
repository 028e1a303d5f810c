// Looking texts up through Parametri against GNU gettext's dgettext, on the same
// catalogue of real texts: the Italian translations of the programs installed on
// this machine (their .mo files), with English as the translation.
#include "BenchSupport.h"
#include "base/SqlDatabase.h"
#include "texts/TextTable.h"

#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <libintl.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>

namespace {

using namespace paramcor;

constexpr int kTexts = 25000;

struct Entry {
    QString italian;
    QString english;
};

// The (English, Italian) pairs of one .mo file; plural forms and contexts are left out.
void readCatalogue(const QString& path, QList<Entry>& entries, QSet<QString>& seen) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QByteArray mo = file.readAll();
    auto word = [&](qsizetype at) {
        return at + 4 <= mo.size() ? *reinterpret_cast<const quint32*>(mo.constData() + at) : 0u;
    };
    if (word(0) != 0x950412de)
        return;
    const quint32 count = word(8), originals = word(12), translations = word(16);
    auto string = [&](quint32 table, quint32 i) {
        const quint32 length = word(table + 8 * i), offset = word(table + 8 * i + 4);
        return offset + length <= quint32(mo.size()) ? mo.mid(offset, length) : QByteArray();
    };
    for (quint32 i = 0; i < count && entries.size() < kTexts; ++i) {
        const QByteArray english = string(originals, i), italian = string(translations, i);
        if (english.isEmpty() || italian.isEmpty() || english.contains('\0') || english.contains('\x04') ||
            italian.contains('\0') || italian.size() > 200)
            continue;
        const QString key = QString::fromUtf8(italian);
        if (seen.contains(key))
            continue;
        seen.insert(key);
        entries.append({key, QString::fromUtf8(english)});
    }
}

QString poString(const QString& text) {
    QString s = text;
    s.replace("\\", "\\\\").replace("\"", "\\\"").replace("\n", "\\n").replace("\t", "\\t").replace("\r", "\\r");
    return '"' + s + '"';
}

struct Catalogue {
    Catalogue() {
        QSet<QString> seen;
        for (const QString& mo : QDir("/usr/share/locale/it/LC_MESSAGES").entryList({"*.mo"}, QDir::Files, QDir::Name))
            readCatalogue("/usr/share/locale/it/LC_MESSAGES/" + mo, entries, seen);
        std::printf("catalogue: %lld texts from the Italian .mo files of this machine\n",
                    static_cast<long long>(entries.size()));
        writeTextDatabase();
        writeGettextCatalogue();

        Platform p;
        p.registry = std::make_shared<SqliteRegistryStore>((dir.path() + "/registry").toStdString());
        p.libraryFolder = dir.path();
        installPlatform(p);
        QFile(dir.path() + "/ParamCor.txt").open(QIODevice::WriteOnly);
        par = std::make_unique<Parametri>();
        par->Lingua(2);

        auto* random = QRandomGenerator::global();
        for (int i = 0; i < 4096; ++i) {
            const int pick = static_cast<int>(random->bounded(static_cast<quint32>(entries.size())));
            hits.append(entries[pick].italian);
            hitBytes.append(entries[pick].italian.toUtf8());
            keys.append(QString::number(pick));
            misses.append(QStringLiteral("zz%1 testo che non c'è").arg(i));
            missBytes.append(misses.last().toUtf8());
        }
    }

    void writeTextDatabase() {
        SqlDatabase db(dir.path() + "/CvlTradU.mdb", SqlDatabase::Mode::Create);
        texts::createLayout(db);
        SqlTransaction transaction(db);
        SqlStatement insert =
            db.prepare("INSERT INTO Testi(Programma, Progressivo, TESTO_01, Testo_02) VALUES('BENCH', ?1, ?2, ?3)");
        for (int i = 0; i < entries.size(); ++i)
            insert.bind(1, QString::number(i)).bind(2, entries[i].italian).bind(3, entries[i].english).run();
        transaction.commit();
    }

    // The same texts as a gettext catalogue of domain "cvlbench", in an English
    // locale compiled into the temporary folder (the machine may have none).
    void writeGettextCatalogue() {
        const QString messages = dir.path() + "/locale/en/LC_MESSAGES";
        QDir().mkpath(messages);
        QFile po(dir.path() + "/cvlbench.po");
        po.open(QIODevice::WriteOnly);
        po.write("msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n\n");
        for (const Entry& e : entries)
            po.write(("msgid " + poString(e.italian) + "\nmsgstr " + poString(e.english) + "\n\n").toUtf8());
        po.close();
        if (QProcess::execute("msgfmt", {"-o", messages + "/cvlbench.mo", po.fileName()}) != 0)
            std::printf("msgfmt failed: the gettext figures are missing\n");
        const QString locales = dir.path() + "/locales";
        QDir().mkpath(locales);
        QProcess::execute("localedef", {"-i", "en_US", "-f", "UTF-8", locales + "/en_US.UTF-8"});
        setenv("LOCPATH", locales.toUtf8().constData(), 1);
        if (!std::setlocale(LC_MESSAGES, "en_US.UTF-8"))
            std::printf("no English locale: the gettext figures are not lookups\n");
        bindtextdomain("cvlbench", (dir.path() + "/locale").toUtf8().constData());
        bind_textdomain_codeset("cvlbench", "UTF-8");
        const QByteArray probe = entries.first().italian.toUtf8();
        std::printf("gettext check: \"%s\" -> \"%s\"\n", probe.constData(), dgettext("cvlbench", probe.constData()));
    }

    QTemporaryDir dir;
    QList<Entry> entries;
    std::unique_ptr<Parametri> par;
    QStringList hits, misses, keys;
    QList<QByteArray> hitBytes, missBytes;
};

Catalogue& catalogue() {
    static Catalogue c;
    return c;
}

void Traduci_hit(benchmark::State& state) {
    Catalogue& c = catalogue();
    int i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(c.par->Traduci(c.hits[i++ & 4095]));
}
BENCHMARK(Traduci_hit);

void Traduci_miss(benchmark::State& state) {
    Catalogue& c = catalogue();
    int i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(c.par->Traduci(c.misses[i++ & 4095]));
}
BENCHMARK(Traduci_miss);

void TraduciChiave_hit(benchmark::State& state) {
    Catalogue& c = catalogue();
    int i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(c.par->TraduciChiave("BENCH", c.keys[i++ & 4095]));
}
BENCHMARK(TraduciChiave_hit);

void dgettext_hit(benchmark::State& state) {
    Catalogue& c = catalogue();
    int i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(dgettext("cvlbench", c.hitBytes[i++ & 4095].constData()));
}
BENCHMARK(dgettext_hit);

void dgettext_miss(benchmark::State& state) {
    Catalogue& c = catalogue();
    int i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(dgettext("cvlbench", c.missBytes[i++ & 4095].constData()));
}
BENCHMARK(dgettext_miss);

}  // namespace

int main(int argc, char** argv) {
    return bench::runWithRatios(argc, argv,
                                {{"Traduci_hit", "dgettext_hit"},
                                 {"Traduci_miss", "dgettext_hit"},
                                 {"Traduci_miss", "dgettext_miss"},
                                 {"TraduciChiave_hit", "dgettext_hit"}});
}
