// What support asks for when a user calls: the program and the suite's versions,
// the machine, where the settings, the installation and the texts are, the
// language and units, and the free space where the suite's folders live. The
// about window shows it, copies it and mails it; `paramcor informazioni` prints it.
#pragma once


#include <QString>

#include <array>
#include <functional>
#include <vector>

namespace paramcor::info {

// How the library was built.
struct BuildInfo {
    QString version;   // "6.0.0"
    QString compiler;  // "GCC 12.2.0"
    QString date;      // "2026-11-25"
    QString qt;        // the Qt it was compiled against
};
BuildInfo buildInfo();

// The format version and row count of a text database, read without changing it;
// `problem` says why a file that is there could not be read.
struct TextDatabaseFacts {
    bool found = false;
    QString formatVersion;
    qint64 rows = -1;
    QString problem;
};
TextDatabaseFacts textDatabaseFacts(const QString& path);

struct Line {
    QString label;
    QString value;
};
struct Section {
    QString title;
    std::vector<Line> lines;
};

// What the library itself knows, gathered by the layer that owns it; the report adds
// the machine's facts and puts everything in order.
struct LibraryFacts {
    // Product, upgrade, marble, glass and glass CAM, in that order.
    std::array<QString, 5> versions;
    QString makerKey;
    QString installationFolder;  // with its trailing separator
    QString temporaryFolder;
    std::vector<Line> declaredFolders;  // name and current path of each folder with a default
    short language = 0;
    // The current language's unit rows: system, currency, linear, surfaces, volume.
    std::array<QString, 5> unitRows;
};

using Translate = std::function<QString(const QString& wording)>;

class SystemInformation {
public:
    // Captions come through translate, in the user's language. The program's name
    // and version open the list when given.
    SystemInformation(const LibraryFacts& library, Translate translate, const QString& program = {},
                      const QString& version = {});

    const std::vector<Section>& sections() const { return sections_; }

    // Plain text, one "label: value" line per fact under each section's title.
    QString text() const;

private:
    Section& add(const char16_t* title);
    void addLine(Section& section, const char16_t* label, const QString& value);

    Translate translate_;
    std::vector<Section> sections_;
};

}  // namespace paramcor::info
