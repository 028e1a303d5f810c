#include "info/SystemInformation.h"

#include "base/SqlDatabase.h"
#include "texts/TextTable.h"

#include <CVLParamcor/Languages.h>
#include <CVLParamcor/Platform.h>

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QStorageInfo>
#include <QSysInfo>

#include <map>

namespace paramcor::info {

BuildInfo buildInfo() {
#if defined(__clang__)
    const QString compiler = QStringLiteral("Clang " __clang_version__);
#elif defined(__GNUC__)
    const QString compiler = QStringLiteral("GCC " __VERSION__);
#elif defined(_MSC_VER)
    const QString compiler = QStringLiteral("MSVC %1").arg(_MSC_FULL_VER);
#else
    const QString compiler = QStringLiteral("unknown");
#endif
    // The day the build was configured, or SOURCE_DATE_EPOCH's: the same sources
    // build the same library whenever they are built again (reproducible builds).
    return {QStringLiteral(CVLPARAMCOR_VERSION), compiler.trimmed(), QStringLiteral(CVLPARAMCOR_BUILD_DATE),
            QStringLiteral(QT_VERSION_STR)};
}

TextDatabaseFacts textDatabaseFacts(const QString& path) {
    TextDatabaseFacts facts;
    facts.found = QFileInfo(path).isFile();
    if (!facts.found)
        return facts;
    try {
        SqlDatabase db(path, SqlDatabase::Mode::ReadOnly);
        facts.formatVersion = texts::formatVersion(db);
        SqlStatement count = db.prepare("SELECT COUNT(*) FROM Testi");
        if (count.step())
            facts.rows = count.integer(0);
    } catch (const TextDatabaseError& error) {
        facts.problem = error.message();
    }
    return facts;
}

namespace {

QString dataSize(qint64 bytes) {
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeTraditionalFormat);
}

// The folder itself or, when it is not made yet, the nearest one above it that
// exists: that is the disk it will be made on.
QString existingFolder(const QString& path) {
    QDir dir(QDir::fromNativeSeparators(path));
    while (!dir.exists() && !dir.isRoot())
        if (!dir.cdUp())
            break;
    return dir.absolutePath();
}

}  // namespace

SystemInformation::SystemInformation(const LibraryFacts& library, Translate translate, const QString& program,
                                     const QString& version)
    : translate_(std::move(translate)) {
    if (!program.isEmpty() || !version.isEmpty()) {
        Section& s = add(u"Programma");
        addLine(s, u"Nome", program);
        addLine(s, u"Versione", version);
    }

    const BuildInfo build = buildInfo();
    {
        Section& s = add(u"Sistema");
        addLine(s, u"Sistema operativo",
                QStringLiteral("%1, %2 %3, %4")
                    .arg(QSysInfo::prettyProductName(), QSysInfo::kernelType(), QSysInfo::kernelVersion(),
                         QSysInfo::currentCpuArchitecture()));
        addLine(s, u"Computer", QSysInfo::machineHostName());
        // Names, not wordings: no translation.
        s.lines.push_back({QStringLiteral("Qt"), QString::fromLatin1(qVersion())});
        s.lines.push_back({QStringLiteral("CVLParamcor"), build.version});
    }
    {
        Section& s = add(u"Versioni del prodotto");
        const char16_t* labels[] = {u"Prodotto", u"Aggiornamento", u"Marmo", u"Vetro", u"Vetro CAM"};
        for (std::size_t i = 0; i < library.versions.size(); ++i)
            addLine(s, labels[i], library.versions[i]);
    }

    QStringList folders;  // every folder whose disk matters
    {
        Section& s = add(u"Registro");
        addLine(s, u"Chiave del produttore", library.makerKey);
        const RegistryStore& store = *platform().registry;
        const std::pair<const char16_t*, Hive> hives[] = {{u"Utente corrente", Hive::CurrentUser},
                                                          {u"Macchina locale", Hive::LocalMachine},
                                                          {u"Classi", Hive::ClassesRoot}};
        for (const auto& [label, hive] : hives) {
            const QString where = QString::fromStdString(store.location(hive));
            addLine(s, label,
                    where.isEmpty() ? translate_(QStringLiteral("registro di Windows"))
                                    : QDir::toNativeSeparators(where));
            if (!where.isEmpty())
                folders << QFileInfo(where).absolutePath();
        }
    }

    const QString installation = library.installationFolder;
    const QString installationFile = installation + QStringLiteral("ParamCor.txt");
    folders << installation;
    {
        Section& s = add(u"Installazione");
        addLine(s, u"Cartella di installazione", installation);
        addLine(s, u"File di installazione",
                QFileInfo(installationFile).isFile()
                    ? installationFile
                    : installationFile + QStringLiteral(" (") + translate_(QStringLiteral("mancante")) + u')');
    }

    QString textFolder;
    for (const Line& folder : library.declaredFolders)
        if (folder.label.compare(QLatin1String("Testi"), Qt::CaseInsensitive) == 0)
            textFolder = folder.value;
    {
        Section& s = add(u"Testi");
        const QString path = textFolder + QStringLiteral("CvlTradU.mdb");
        TextDatabaseFacts facts;
        if (!textFolder.isEmpty())
            facts = textDatabaseFacts(path);
        if (!facts.found)
            facts.problem = translate_(QStringLiteral("mancante"));
        addLine(s, u"Database dei testi",
                facts.problem.isEmpty() ? path : path + QStringLiteral(" (") + facts.problem + u')');
        addLine(s, u"Versione del formato", facts.formatVersion);
        addLine(s, u"Righe", facts.rows < 0 ? QString() : QString::number(facts.rows));
    }
    {
        Section& s = add(u"Lingua e unità di misura");
        const short language = library.language;
        const LanguageInfo* known = languageInfo(language);
        addLine(s, u"Lingua",
                QStringLiteral("%1 %2").arg(language).arg(
                    known && !known->ownName.isEmpty() ? known->ownName : texts::languageColumn(language)));
        const QString system = library.unitRows[0].trimmed();
        const QString systems[] = {translate_(QStringLiteral("Sistema Metrico Decimale")),
                                   translate_(QStringLiteral("Sistema Anglosassone")), QStringLiteral("USA")};
        bool numeric = false;
        const int code = system.toInt(&numeric);
        addLine(s, u"Unità di misura",
                numeric && code >= 0 && code < 3 ? QStringLiteral("%1 (%2)").arg(systems[code], system) : system);
        const char16_t* labels[] = {u"Valuta", u"lineare", u"superfici", u"volume"};
        for (std::size_t i = 0; i < std::size(labels); ++i)
            addLine(s, labels[i], library.unitRows[i + 1].simplified());
    }
    {
        Section& s = add(u"Cartelle");
        addLine(s, u"Cartella temporanea", library.temporaryFolder);
        folders << library.temporaryFolder;
        for (const Line& folder : library.declaredFolders) {
            s.lines.push_back(folder);
            folders << folder.value;
        }
    }
    {
        Section& s = add(u"Spazio su disco (libero / totale)");
        std::map<QString, QStorageInfo> disks;  // by mount point, each once
        for (const QString& folder : folders) {
            const QStorageInfo disk(existingFolder(folder));
            if (disk.isValid())
                disks.emplace(disk.rootPath(), disk);
        }
        for (const auto& [root, disk] : disks)
            s.lines.push_back(
                {QDir::toNativeSeparators(root),
                 QStringLiteral("%1 / %2").arg(dataSize(disk.bytesAvailable()), dataSize(disk.bytesTotal()))});
    }
}

Section& SystemInformation::add(const char16_t* title) {
    sections_.push_back({translate_(QString::fromUtf16(title)), {}});
    return sections_.back();
}

void SystemInformation::addLine(Section& section, const char16_t* label, const QString& value) {
    section.lines.push_back({translate_(QString::fromUtf16(label)), value});
}

QString SystemInformation::text() const {
    QString text;
    for (const Section& section : sections_) {
        if (!text.isEmpty())
            text += u'\n';
        text += QStringLiteral("[%1]\n").arg(section.title);
        for (const Line& line : section.lines)
            text += line.label + QStringLiteral(": ") + line.value + u'\n';
    }
    return text;
}

}  // namespace paramcor::info
