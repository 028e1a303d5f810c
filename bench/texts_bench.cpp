// Merging a delivered text database into the user's, and opening it at creation.
#include "BenchSupport.h"

#include "base/SqlDatabase.h"
#include "texts/TextMerge.h"
#include "texts/TextTable.h"

#include <CVLParamcor/Parametri.h>
#include <CVLParamcor/Platform.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

using namespace paramcor;

constexpr int kRows = 50000;

void writeFile(const QString& path, int first, int count, const char* english, const char* date, int correctedEvery) {
    SqlDatabase db(path, SqlDatabase::Mode::Create);
    texts::createLayout(db);
    SqlTransaction transaction(db);
    auto insert = db.prepare(
        "INSERT INTO Testi(Programma, Progressivo, TESTO_01, Testo_02, Testo_03, Testo_04, Testo_05, DataCreazione, "
        "DataModifica, Tradotti, ModificatoDalCliente) VALUES('TAGLIO', ?1, ?2, ?3, ?3, ?3, ?3, '20250101', ?4, "
        "'TTTTTFFFFFFFFFF', ?5)");
    for (int i = first; i < first + count; ++i)
        insert.bind(1, QString::number(i).rightJustified(6, '0'))
            .bind(2, QStringLiteral("Lunghezza del taglio numero %1 (mm):").arg(i))
            .bind(3, QStringLiteral("%1 %2").arg(QString::fromLatin1(english)).arg(i))
            .bind(4, QString::fromLatin1(date))
            .bind(5, qint64(correctedEvery > 0 && i % correctedEvery == 0 ? 1 : 0))
            .run();
    transaction.commit();
}

// 50 000 user rows, a few hundred corrected; a delivery of 50 000, half of them
// new and half changing the user's.
struct Files {
    Files() {
        writeFile(pristine(), 0, kRows, "Cut length", "20250101", 150);
        writeFile(delivered(), kRows / 2, kRows, "Length of cut", "20260301", 0);
    }
    QString pristine() const { return dir.path() + "/pristine.mdb"; }
    QString user() const { return dir.path() + "/CvlTradU.mdb"; }
    QString delivered() const { return dir.path() + "/CvlTrad.mdb"; }
    QTemporaryDir dir;
};

Files& files() {
    static Files f;
    return f;
}

void MergeTexts_50000_into_50000(benchmark::State& state) {
    Files& f = files();
    for (auto _ : state) {
        state.PauseTiming();
        QFile::remove(f.user());
        QFile::copy(f.pristine(), f.user());
        state.ResumeTiming();
        SqlDatabase user(f.user(), SqlDatabase::Mode::ReadWrite);
        SqlDatabase delivered(f.delivered(), SqlDatabase::Mode::ReadOnly);
        benchmark::DoNotOptimize(texts::mergeTexts(user, delivered));
    }
}
BENCHMARK(MergeTexts_50000_into_50000)->Unit(benchmark::kMillisecond)->Iterations(5);

// A program starting on a workstation whose texts are up to date.
void CreaParametri_with_50000_texts(benchmark::State& state) {
    Files& f = files();
    QFile::remove(f.user());
    QFile::copy(f.pristine(), f.user());
    QFile(f.dir.path() + "/ParamCor.txt").open(QIODevice::WriteOnly);
    Platform p;
    p.registry = std::make_shared<SqliteRegistryStore>((f.dir.path() + "/registry").toStdString());
    p.libraryFolder = f.dir.path();
    installPlatform(p);
    for (auto _ : state) {
        Parametri par;
        benchmark::DoNotOptimize(par.TotalePercorsi());
    }
}
BENCHMARK(CreaParametri_with_50000_texts)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) { return bench::runWithRatios(argc, argv, {}); }
