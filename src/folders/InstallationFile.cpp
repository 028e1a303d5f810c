#include "folders/InstallationFile.h"

#include "folders/TextDecoding.h"
#include "param/Numbers.h"
#include "param/registry/MainParametri.h"

#include <CVLParamcor/Platform.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <set>

namespace paramcor {
namespace {

const QString kTitle = QStringLiteral("CVLParamCor - ParamCor.txt");
const QString kFileName = QStringLiteral("ParamCor.txt");
constexpr int kInitialRows = 11;  // indices 0 to 10 until "FOLDERS=n"
constexpr int kCustomSlots = 9;
constexpr int kMaxFolders = 1000;
// A line shown in a message is cut here: a message box cannot show a megabyte.
constexpr qsizetype kMaxShownLine = 1000;

QString asInteger(double value) {
    return QString::number(value, 'f', 0);
}

QString shownLine(const QString& line) {
    return line.size() <= kMaxShownLine ? line : line.left(kMaxShownLine) + QStringLiteral("...");
}

// The installation file, found without regard to the case of its name, since
// installations come over from Windows.
QString installationFilePath() {
    const QString folder = PercorsoPrincipale();
    const QString exact = folder + kFileName;
    if (QFileInfo::exists(exact))
        return exact;
    const QStringList matches =
        QDir(folder).entryList({kFileName}, QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
    return matches.isEmpty() ? exact : folder + matches.first();
}

}  // namespace

bool InstallationFile::fault(const QString& text, int icon) {
    platform().messages->show(text, icon, kTitle);
    return false;
}

bool InstallationFile::lineFault(const QString& text, int NumeroRiga, const QString& line) {
    return fault(text + QString::number(NumeroRiga) + u'\n' + shownLine(line));
}

bool InstallationFile::LeggiFileInstallazione() {
    const QString path = installationFilePath();
    const QFileInfo info(path);
    if (!info.exists() || info.isDir())
        return fault(QStringLiteral("ERROR: missing file ") + path);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fault(QStringLiteral("ERROR: cannot read file ") + path + u'\n' + file.errorString());
    const QByteArray content = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return fault(QStringLiteral("ERROR: cannot read file ") + path + u'\n' + file.errorString());
    return read(content);
}

bool InstallationFile::read(const QByteArray& content) {
    auto& table = folders_.TabellaPercorsi();
    table.assign(kInitialRows, RecordPercorso{});
    folders_.setNumeroPercorsi(0);
    folders_.supplierDefaults().clear();
    declared_ = 0;

    const QStringList lines = splitLines(decodeHandEditedText(content));
    for (int i = 0; i < lines.size(); ++i)
        if (!AnalizzaRiga(lines.at(i), i + 1))
            return false;

    // The suite root: its default is the root's current location.
    table[0].Nome = QStringLiteral("Wincor");
    table[0].DefaultEspanso = table[0].Default;
    const QString root = folders_.Percorso(QStringLiteral("Wincor"));
    table[0].Default = root;
    table[0].DefaultEspanso = root;
    table[0].IndiceMacro = -1;

    if (!bindMacros() || !checkDeclarationsAndCycles())
        return false;
    expandDefaults();
    if (!checkLeftOverMacros())
        return false;
    addCustomSlots();
    return true;
}

bool InstallationFile::AnalizzaRiga(const QString& Riga, int NumeroRiga) {
    QString line = Riga;
    const qsizetype comment = line.indexOf(u'\'');
    if (comment >= 0)
        line.truncate(comment);
    line.replace(u'\t', u' ');
    line = line.trimmed();
    if (line.isEmpty())
        return true;

    const qsizetype equals = line.indexOf(u'=');
    if (equals < 0)
        return lineFault(QStringLiteral("Missing '=' in line "), NumeroRiga, line);
    const QString name = line.left(equals).trimmed().toUpper();
    const QString value = line.mid(equals + 1).trimmed();
    if (name.isEmpty())
        return lineFault(QStringLiteral("Missing variable name before '=' in line "), NumeroRiga, line);

    if (name == QLatin1String("REGISTRYROOT"))
        return registryRootLine(value, NumeroRiga);
    if (name == QLatin1String("FOLDERS"))
        return foldersLine(value, line, NumeroRiga);
    if (name.startsWith(QLatin1String("FOLDER")))
        return folderLine(name, value, line, NumeroRiga);
    for (const QString& key : kSupplierKeys)
        if (name == key.toUpper())
            return supplierLine(name, value, line, NumeroRiga);
    return fault(QStringLiteral("Unknow variable name ") + name + QStringLiteral(" in line ") +
                 QString::number(NumeroRiga) + u'\n' + shownLine(line));
}

bool InstallationFile::supplierLine(const QString& name, const QString& value, const QString& line, int NumeroRiga) {
    if (folders_.supplierDefaults().contains(name))
        return lineFault(QStringLiteral("Double ") + name + QStringLiteral(" definition in line "), NumeroRiga, line);
    folders_.supplierDefaults().insert(name, value);
    return true;
}

bool InstallationFile::registryRootLine(const QString& value, int NumeroRiga) {
    MainParametri& selection = MainParametri::instance();
    if (!selection.registryRoot().isEmpty())
        return fault(QStringLiteral("Double RegistryRoot definition in line ") + QString::number(NumeroRiga),
                     mb::Information);
    QString root = value;
    if (!root.isEmpty()) {
        if (!root.startsWith(u'\\'))
            root.prepend(u'\\');
        while (root.endsWith(u'\\'))
            root.chop(1);
    }
    selection.setRegistryRoot(root);
    return true;
}

bool InstallationFile::foldersLine(const QString& value, const QString& line, int NumeroRiga) {
    const double count = leadingNumber(value);
    if (count < 1 || count > kMaxFolders)
        return lineFault(QStringLiteral("Too many CustomPath in line "), NumeroRiga, line);
    if (declared_ >= 1)
        return lineFault(QStringLiteral("Double CustomPath definition in line "), NumeroRiga, line);
    declared_ = static_cast<short>(roundHalfEven(count));
    folders_.TabellaPercorsi().resize(declared_ + kCustomSlots + 1);
    return true;
}

bool InstallationFile::folderLine(const QString& name, const QString& value, const QString& line, int NumeroRiga) {
    const double number = roundHalfEven(leadingNumber(name.mid(6)));
    if (number < 0 || number > declared_)
        return lineFault(QStringLiteral("Wrong folder number ") + asInteger(number) + QStringLiteral(" in line "),
                         NumeroRiga, line);
    const int index = static_cast<int>(number);
    RecordPercorso& record = folders_.TabellaPercorsi()[index];
    if (!record.Nome.isEmpty() && index != 0)
        return lineFault(QStringLiteral("Folder ") + asInteger(number) + QStringLiteral(" double definition in line "),
                         NumeroRiga, line);
    const qsizetype comma = value.indexOf(u',');
    if (comma < 0)
        return lineFault(QStringLiteral("Expected ',' separator in line "), NumeroRiga, line);

    record.Nome = value.left(comma).trimmed();
    const qsizetype second = value.indexOf(u',', comma + 1);
    if (second >= 0) {
        record.Default = value.mid(comma + 1, second - comma - 1).trimmed();
        record.Rif = value.mid(second + 1).trimmed().toUpper();
    } else {
        record.Default = value.mid(comma + 1).trimmed();
        record.Rif.clear();
    }
    record.DefaultEspanso = record.Default;

    if (record.Nome.isEmpty())
        return lineFault(QStringLiteral("Missing folder name in line "), NumeroRiga, line);
    if (record.Default.isEmpty())
        return lineFault(QStringLiteral("Missing default folder in line "), NumeroRiga, line);
    if (value.count(u'<') >= 2)
        return lineFault(QStringLiteral("More then one <> in line "), NumeroRiga, line);
    const qsizetype open = value.indexOf(u'<');
    if (open >= 0 && value.indexOf(u'>', open) < 0)
        return lineFault(QStringLiteral("Expected '>' in line "), NumeroRiga, line);
    return true;
}

QString InstallationFile::macroOf(int j) const {
    if (j == declared_ + 1)
        return QStringLiteral("<PROGRAM>");
    return u'<' + folders_.TabellaPercorsi()[j].Nome.toUpper() + u'>';
}

bool InstallationFile::bindMacros() {
    auto& table = folders_.TabellaPercorsi();
    const int program = declared_ + 1;
    for (int i = 1; i <= declared_; ++i) {
        RecordPercorso& record = table[i];
        record.IndiceMacro = -1;
        const QString upperDefault = record.Default.toUpper();
        for (int j = 0; j <= program; ++j) {
            if (!upperDefault.contains(macroOf(j)))
                continue;
            if (j == i)
                return fault(QStringLiteral("Circular reference in default value for folder ") + record.Nome + u'\n' +
                             record.Default);
            if (record.IndiceMacro != -1)
                return fault(QStringLiteral("More then one <> in default value for folder ") + record.Nome + u'\n' +
                             record.Default);
            record.IndiceMacro = static_cast<short>(j);
        }
    }
    return true;
}

bool InstallationFile::RiferimentoCircolare(short Inizio, short Indice) const {
    const auto& table = folders_.TabellaPercorsi();
    const int program = declared_ + 1;
    // A chain may also run into a loop that does not pass through the start: that
    // too makes the start's default unusable.
    std::set<int> visited;
    for (int at = Indice;; at = table[at].IndiceMacro) {
        if (at == Inizio)
            return true;
        if (at == -1 || at == program)
            return false;
        if (!visited.insert(at).second)
            return true;
    }
}

bool InstallationFile::checkDeclarationsAndCycles() {
    const auto& table = folders_.TabellaPercorsi();
    for (int i = 1; i <= declared_; ++i) {
        if (table[i].Nome.isEmpty())
            return fault(QStringLiteral("Missing declaration for folder ") + QString::number(i));
        if (RiferimentoCircolare(static_cast<short>(i), table[i].IndiceMacro))
            return fault(QStringLiteral("Circular reference in default value for folder ") + table[i].Nome + u'\n' +
                         table[i].Default);
    }
    return true;
}

// One pass in index order: a folder takes the expanded default of a lower one,
// and a higher one's default as it is written, macro included, which the check
// of left-over macros then reports. Installation files rely on this order.
void InstallationFile::expandDefaults() {
    auto& table = folders_.TabellaPercorsi();
    const int program = declared_ + 1;
    for (int i = 1; i <= declared_; ++i) {
        const int r = table[i].IndiceMacro;
        if (r == -1)
            continue;
        const QString value = r == program ? PercorsoPrincipale() : table[r].DefaultEspanso;
        const QString token = macroOf(r);
        QString& expanded = table[i].DefaultEspanso;
        const qsizetype at = expanded.indexOf(token, 0, Qt::CaseInsensitive);
        if (at >= 0)
            expanded.replace(at, token.size(), value);
    }
}

bool InstallationFile::checkLeftOverMacros() {
    const auto& table = folders_.TabellaPercorsi();
    for (int i = 1; i <= declared_; ++i) {
        const QString& expanded = table[i].DefaultEspanso;
        const qsizetype open = expanded.indexOf(u'<');
        if (open < 0)
            continue;
        const qsizetype close = expanded.indexOf(u'>', open);
        const QString macro = close < 0 ? expanded.mid(open) : expanded.mid(open, close - open + 1);
        return fault(QStringLiteral("Missing macro ") + macro + QStringLiteral(" in default folder ") + u'\n' +
                     table[i].Default);
    }
    return true;
}

void InstallationFile::addCustomSlots() {
    auto& table = folders_.TabellaPercorsi();
    for (int k = 1; k <= kCustomSlots; ++k) {
        RecordPercorso& slot = table[declared_ + k];
        slot = RecordPercorso{};
        slot.Nome = QStringLiteral("Custom") + QString::number(k);
    }
    folders_.setNumeroPercorsi(static_cast<short>(declared_ + kCustomSlots));
}

bool VerificaFile(const QString& Percorso, bool AvvisaSeManca) {
    const QFileInfo info(Percorso);
    if (!info.exists() || !info.isFile() || info.isHidden()) {
        if (AvvisaSeManca)
            platform().messages->show(QStringLiteral("Missing file ") + u'\n' + u'\n' + Percorso, mb::Critical,
                                      QStringLiteral("CVLParamCor"));
        return false;
    }
    // Read-only means that nobody may write it, whoever runs the program.
    constexpr auto anyWrite = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
    if ((info.permissions() & anyWrite) == 0) {
        platform().messages->show(QStringLiteral("This file cannot be Read Only ") + u'\n' + u'\n' + Percorso + u'\n' +
                                      u'\n' + QStringLiteral("Please remove ReadOnly check from file properties."),
                                  mb::Critical, QStringLiteral("CVLParamCor"));
        return false;
    }
    return true;
}

}  // namespace paramcor
