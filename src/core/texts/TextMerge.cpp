#include "texts/TextMerge.h"

#include "texts/TextTable.h"

#include <QStringList>

namespace paramcor::texts {
namespace {

QByteArray selectAllColumns() {
    return ("SELECT " + columnNames().join(", ") + " FROM Testi ORDER BY rowid").toUtf8();
}

QByteArray insertRow() {
    QStringList marks;
    for (int i = 1; i <= kColumns; ++i)
        marks << QStringLiteral("?%1").arg(i);
    return ("INSERT INTO Testi(" + columnNames().join(", ") + ") VALUES(" + marks.join(", ") + ")").toUtf8();
}

// SET of the given columns, numbered from ?1; the row is ?(count + 1).
QByteArray updateColumns(const QStringList& columns) {
    QStringList sets;
    for (int i = 0; i < columns.size(); ++i)
        sets << QStringLiteral("%1 = ?%2").arg(columns[i]).arg(i + 1);
    return ("UPDATE Testi SET " + sets.join(", ") + QStringLiteral(" WHERE rowid = ?%1").arg(columns.size() + 1))
        .toUtf8();
}

// What a row that shares a delivered wording takes: the languages, Tradotti and
// DataModifica, so that merging the same file twice changes nothing.
QStringList translationColumns() {
    QStringList columns = columnNames().mid(kFirstLanguageColumn, kLanguages);
    columns << columnNames().at(kTradottiColumn) << columnNames().at(kDataModificaColumn);
    return columns;
}

class Merge {
public:
    explicit Merge(SqlDatabase& user)
        : byWording_(user.prepare(("SELECT rowid, TESTO_01, ModificatoDalCliente, DataModifica FROM Testi WHERE " +
                                   wordingIs(1) + " ORDER BY rowid")
                                      .toUtf8())),
          byKey_(user.prepare(("SELECT rowid FROM Testi WHERE " + keyIs(1)).toUtf8())),
          insert_(user.prepare(insertRow().constData())),
          replace_(user.prepare(updateColumns(columnNames()).constData())),
          translate_(user.prepare(updateColumns(translationColumns()).constData())) {}

    void row(const QVariantList& delivered, MergeCounts& counts) {
        const QString wording = delivered.at(kFirstLanguageColumn).toString();
        std::vector<qint64> sharing;
        bool found = false;
        byWording_.bind(1, wording);
        // The seek finds wordings equal but for case; only those equal to the letter
        // take the delivered translations, wherever the others stand among them.
        while (byWording_.step()) {
            found = true;
            if (byWording_.text(1) != wording)
                continue;
            if (byWording_.integer(2) == 0 && byWording_.text(3) != delivered.at(kDataModificaColumn).toString())
                sharing.push_back(byWording_.integer(0));
        }
        byWording_.reset();

        if (found) {
            for (const qint64 rowid : sharing) {
                int i = 1;
                for (int c = kFirstLanguageColumn; c < kFirstLanguageColumn + kLanguages; ++c)
                    translate_.bind(i++, delivered.at(c));
                translate_.bind(i++, delivered.at(kTradottiColumn));
                translate_.bind(i++, delivered.at(kDataModificaColumn));
                translate_.bind(i, rowid);
                translate_.run();
                ++counts.updated;
            }
            return;
        }

        byKey_.bind(1, delivered.at(0)).bind(2, delivered.at(1));
        const bool keyed = byKey_.step();
        const qint64 rowid = keyed ? byKey_.integer(0) : 0;
        byKey_.reset();
        SqlStatement& write = keyed ? replace_ : insert_;
        for (int c = 0; c < kColumns; ++c)
            write.bind(c + 1, delivered.at(c));
        if (keyed)
            write.bind(kColumns + 1, rowid);
        write.run();
        ++(keyed ? counts.replaced : counts.added);
    }

private:
    SqlStatement byWording_;
    SqlStatement byKey_;
    SqlStatement insert_;
    SqlStatement replace_;
    SqlStatement translate_;
};

}  // namespace

MergeCounts mergeTexts(SqlDatabase& user, SqlDatabase& delivered) {
    MergeCounts counts;
    // The whole merge is one transaction: its changed pages stay in memory until
    // the commit instead of spilling to the file halfway.
    user.exec("PRAGMA cache_size = -65536");
    SqlTransaction transaction(user);
    Merge merge(user);
    SqlStatement rows = delivered.prepare(selectAllColumns().constData());
    QVariantList row;
    while (rows.step()) {
        row.clear();
        for (int c = 0; c < kColumns; ++c)
            row << rows.value(c);
        merge.row(row, counts);
    }
    transaction.commit();
    return counts;
}

}  // namespace paramcor::texts
