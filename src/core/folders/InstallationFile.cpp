#include "folders/InstallationFile.h"

#include "folders/TextDecoding.h"
#include "base/Numbers.h"

#include <CVLParamcor/Platform.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <set>

namespace paramcor {
namespace {

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

// Each step returns false once it has recorded the fault that stops the reading.
class Reader {
public:
    explicit Reader(Installation& installation) : in_(installation), table_(installation.rows) {}

    bool AnalizzaRiga(const QString& Riga, int NumeroRiga);
    bool bindMacros();
    bool checkDeclarationsAndCycles();
    void expandDefaults();
    bool checkLeftOverMacros();
    void addCustomSlots();

private:
    bool registryRootLine(const QString& value, int NumeroRiga);
    bool foldersLine(const QString& value, const QString& line, int NumeroRiga);
    bool folderLine(const QString& name, const QString& value, const QString& line, int NumeroRiga);
    bool supplierLine(const QString& name, const QString& line, int NumeroRiga, const QString& value);
    bool RiferimentoCircolare(short Inizio, short Indice) const;

    // The token a default uses to name folder j: "<NAME>", or "<PROGRAM>" for the
    // library's folder.
    QString macroOf(int j) const;
    bool fault(const QString& text, int icon = 16) {
        in_.fault = InstallationFault{text, icon};
        return false;
    }
    // A fault of a line: the text, the line number, a line feed and the cleaned line.
    bool lineFault(const QString& text, int NumeroRiga, const QString& line) {
        return fault(text + QString::number(NumeroRiga) + u'\n' + shownLine(line));
    }

    Installation& in_;
    std::vector<RecordPercorso>& table_;
};

bool Reader::AnalizzaRiga(const QString& Riga, int NumeroRiga) {
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
            return supplierLine(name, line, NumeroRiga, value);
    return fault(QStringLiteral("Unknow variable name ") + name + QStringLiteral(" in line ") +
                 QString::number(NumeroRiga) + u'\n' + shownLine(line));
}

bool Reader::supplierLine(const QString& name, const QString& line, int NumeroRiga, const QString& value) {
    if (in_.supplier.contains(name))
        return lineFault(QStringLiteral("Double ") + name + QStringLiteral(" definition in line "), NumeroRiga, line);
    in_.supplier.insert(name, value);
    return true;
}

// An empty root counts as none, so a later line may still give one.
bool Reader::registryRootLine(const QString& value, int NumeroRiga) {
    if (!in_.registryRoot.isEmpty())
        return fault(QStringLiteral("Double RegistryRoot definition in line ") + QString::number(NumeroRiga),
                     mb::Information);
    QString root = value;
    if (!root.isEmpty()) {
        if (!root.startsWith(u'\\'))
            root.prepend(u'\\');
        while (root.endsWith(u'\\'))
            root.chop(1);
    }
    in_.registryRoot = root;
    return true;
}

bool Reader::foldersLine(const QString& value, const QString& line, int NumeroRiga) {
    const double count = leadingNumber(value);
    if (count < 1 || count > kMaxFolders)
        return lineFault(QStringLiteral("Too many CustomPath in line "), NumeroRiga, line);
    if (in_.declared >= 1)
        return lineFault(QStringLiteral("Double CustomPath definition in line "), NumeroRiga, line);
    in_.declared = static_cast<short>(roundHalfEven(count));
    table_.resize(in_.declared + kCustomSlots + 1);
    return true;
}

bool Reader::folderLine(const QString& name, const QString& value, const QString& line, int NumeroRiga) {
    const double number = roundHalfEven(leadingNumber(name.mid(6)));
    if (number < 0 || number > in_.declared)
        return lineFault(QStringLiteral("Wrong folder number ") + asInteger(number) + QStringLiteral(" in line "),
                         NumeroRiga, line);
    const int index = static_cast<int>(number);
    RecordPercorso& record = table_[index];
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

QString Reader::macroOf(int j) const {
    if (j == in_.declared + 1)
        return QStringLiteral("<PROGRAM>");
    return u'<' + table_[j].Nome.toUpper() + u'>';
}

bool Reader::bindMacros() {
    const int program = in_.declared + 1;
    // Every default is searched for every folder's token: each token is made once.
    std::vector<QString> macros;
    macros.reserve(program + 1);
    for (int j = 0; j <= program; ++j)
        macros.push_back(macroOf(j));
    for (int i = 1; i <= in_.declared; ++i) {
        RecordPercorso& record = table_[i];
        record.IndiceMacro = -1;
        const QString upperDefault = record.Default.toUpper();
        if (!upperDefault.contains(u'<'))
            continue;
        for (int j = 0; j <= program; ++j) {
            if (!upperDefault.contains(macros[j]))
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

bool Reader::RiferimentoCircolare(short Inizio, short Indice) const {
    const int program = in_.declared + 1;
    // A chain may also run into a loop that does not pass through the start: that
    // too makes the start's default unusable.
    std::set<int> visited;
    for (int at = Indice;; at = table_[at].IndiceMacro) {
        if (at == Inizio)
            return true;
        if (at == -1 || at == program)
            return false;
        if (!visited.insert(at).second)
            return true;
    }
}

bool Reader::checkDeclarationsAndCycles() {
    for (int i = 1; i <= in_.declared; ++i) {
        if (table_[i].Nome.isEmpty())
            return fault(QStringLiteral("Missing declaration for folder ") + QString::number(i));
        if (RiferimentoCircolare(static_cast<short>(i), table_[i].IndiceMacro))
            return fault(QStringLiteral("Circular reference in default value for folder ") + table_[i].Nome + u'\n' +
                         table_[i].Default);
    }
    return true;
}

// One pass in index order: a folder takes the expanded default of a lower one,
// and a higher one's default as it is written, macro included, which the check
// of left-over macros then reports. Installation files rely on this order.
void Reader::expandDefaults() {
    const int program = in_.declared + 1;
    for (int i = 1; i <= in_.declared; ++i) {
        const int r = table_[i].IndiceMacro;
        if (r == -1)
            continue;
        const QString value = r == program ? PercorsoPrincipale() : table_[r].DefaultEspanso;
        const QString token = macroOf(r);
        QString& expanded = table_[i].DefaultEspanso;
        const qsizetype at = expanded.indexOf(token, 0, Qt::CaseInsensitive);
        if (at >= 0)
            expanded.replace(at, token.size(), value);
    }
}

bool Reader::checkLeftOverMacros() {
    for (int i = 1; i <= in_.declared; ++i) {
        const QString& expanded = table_[i].DefaultEspanso;
        const qsizetype open = expanded.indexOf(u'<');
        if (open < 0)
            continue;
        const qsizetype close = expanded.indexOf(u'>', open);
        const QString macro = close < 0 ? expanded.mid(open) : expanded.mid(open, close - open + 1);
        return fault(QStringLiteral("Missing macro ") + macro + QStringLiteral(" in default folder ") + u'\n' +
                     table_[i].Default);
    }
    return true;
}

void Reader::addCustomSlots() {
    for (int k = 1; k <= kCustomSlots; ++k) {
        RecordPercorso& slot = table_[in_.declared + k];
        slot = RecordPercorso{};
        slot.Nome = QStringLiteral("Custom") + QString::number(k);
    }
    in_.folderCount = static_cast<short>(in_.declared + kCustomSlots);
}

}  // namespace

Installation readInstallationFile() {
    const QString path = installationFilePath();
    const QFileInfo info(path);
    Installation installation;
    if (!info.exists() || info.isDir()) {
        installation.fault = InstallationFault{QStringLiteral("ERROR: missing file ") + path};
        return installation;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        installation.fault =
            InstallationFault{QStringLiteral("ERROR: cannot read file ") + path + u'\n' + file.errorString()};
        return installation;
    }
    const QByteArray content = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        installation.fault =
            InstallationFault{QStringLiteral("ERROR: cannot read file ") + path + u'\n' + file.errorString()};
        return installation;
    }
    return readInstallation(content);
}

Installation readInstallation(const QByteArray& content) {
    Installation installation;
    installation.rows.assign(kInitialRows, RecordPercorso{});
    Reader reader(installation);
    const QStringList lines = splitLines(decodeHandEditedText(content));
    for (int i = 0; i < lines.size(); ++i)
        if (!reader.AnalizzaRiga(lines.at(i), i + 1))
            return installation;
    // The suite root, whose default a "FOLDER0" line may give.
    RecordPercorso& root = installation.rows[0];
    root.Nome = QStringLiteral("Wincor");
    root.DefaultEspanso = root.Default;
    return installation;
}

void resolveFolders(Installation& installation, const QString& suiteRoot) {
    RecordPercorso& root = installation.rows[0];
    root.Default = suiteRoot;
    root.DefaultEspanso = suiteRoot;
    root.IndiceMacro = -1;
    Reader reader(installation);
    if (!reader.bindMacros() || !reader.checkDeclarationsAndCycles())
        return;
    reader.expandDefaults();
    if (!reader.checkLeftOverMacros())
        return;
    reader.addCustomSlots();
}

bool checkFilePresent(const QString& Percorso, bool AvvisaSeManca) {
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
