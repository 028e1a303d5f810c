// The library-wide registry selection and the typed value access built on it.
// One state for the whole process: every Parametri object reads and changes the
// same store, program, section and Push stack, as the suite's programs expect.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <QString>
#include <QVariant>

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace paramcor {

class MainParametri {
public:
    // The one selection of the process.
    static MainParametri& instance();

    // Back to the state of a freshly loaded library (closing a key left open).
    void reset();

    // --- Selection ---------------------------------------------------------------
    Hive hive() const { return hive_; }
    QString program() const { return program_; }
    QString section() const { return section_; }
    bool noMakerRoot() const { return noMakerRoot_; }
    QString registryRoot() const { return registryRoot_; }
    bool debugMode() const { return debugMode_; }
    bool skipDefaultWrite() const { return skipDefaultWrite_; }
    bool reportErrors() const { return reportErrors_; }
    int depth() const { return depth_; }
    KeyHandle selectedKeyHandle() const { return openKey_; }
    bool keyOpen() const { return openKey_ != 0; }
    // Keys that could not be opened for a reason other than their absence, since
    // the process started: a caller compares the count before and after a step.
    int storeFailures() const { return storeFailures_; }

    void setProgram(const QString& program);  // also clears section and the no-maker-root flag
    void setSection(const QString& section) { section_ = section; }
    void selectHive(Hive hive, bool noMakerRoot);  // clears program and section
    void setRegistryRoot(const QString& root) { registryRoot_ = root; }
    void setDebugMode(bool on) { debugMode_ = on; }
    void setSkipDefaultWrite(bool on) { skipDefaultWrite_ = on; }  // SaltaScritturaDefault
    void setReportErrors(bool on) { reportErrors_ = on; }

    void Push();
    void Pop();  // throws std::out_of_range above depth 100
    // Pops everything, as the destruction of a Parametri object does; the
    // overflowing pushes above 100 saved nothing and are simply dropped.
    void unwind();

    // --- Keys --------------------------------------------------------------------
    QString ComposeKeyPath() const;
    // The same path as the store takes it, composed again only when the selection
    // changed: reads are the suite's hot path.
    const std::string& nativeKeyPath() const;
    void openSelectedKey();
    void closeSelectedKey();
    bool ReportApiError(long code, const QString& call) const;

    // --- Typed values ------------------------------------------------------------
    QVariant ReadValue(const QString& name, const QVariant& defaultValue);
    void WriteValue(const QString& name, const QVariant& value);
    QString ReadString(const QString& name, const QString& defaultValue);
    void WriteString(const QString& name, const QString& value);

    // Puts back what SelectionScope saved: the same three fields a Pop restores.
    void restore(Hive hive, const QString& program, const QString& section);

    static constexpr int kStackSlots = 101;  // slots 0..100; 0 and 100 are never written
    static constexpr int kStackLimit = 100;

private:
    MainParametri() = default;

    // Reads the open key's REG_SZ value as the suite's strings: at most 255
    // characters, one trailing zero dropped. MoreData when it is longer.
    long queryString(const std::string& name, std::uint32_t* type, QString* text) const;
    std::vector<std::uint8_t>& readBuffer() const { return readBuffer_; }
    void reportStoreProblem(RegistryStore& store);
    // Shows a registry message: no explicit title.
    static void message(const QString& text, int flags);

    Hive hive_ = Hive{0};
    QString program_;
    QString section_;
    bool noMakerRoot_ = false;
    QString registryRoot_;
    KeyHandle openKey_ = 0;
    int storeFailures_ = 0;
    bool debugMode_ = false;
    bool skipDefaultWrite_ = false;
    bool reportErrors_ = false;
    int depth_ = 0;
    std::array<Hive, kStackSlots> savedHives_{};
    std::array<QString, kStackSlots> savedPrograms_;
    std::array<QString, kStackSlots> savedSections_;

    struct ComposedPath {
        QString registryRoot, program, section;
        bool noMakerRoot = false;
        bool valid = false;
        std::string path;
    };
    std::set<std::string> storeProblemsTold_;  // each named once per process
    mutable ComposedPath composed_;
    mutable std::vector<std::uint8_t> readBuffer_;  // kept between reads, so no read allocates it
};

// A name as the store takes it (UTF-8); the short ASCII names of the suite's values
// need no heap.
std::string nativeName(const QString& name);

// The library's own save and restore of the selection. It restores what a Pop would
// (hive, program, section) but leaves the client's Push stack alone, so the library
// never uses up a client's stack slot nor trips its overflow message.
class SelectionScope {
public:
    explicit SelectionScope(MainParametri& selection)
        : selection_(selection), hive_(selection.hive()), program_(selection.program()),
          section_(selection.section()) {}
    ~SelectionScope() { selection_.restore(hive_, program_, section_); }
    SelectionScope(const SelectionScope&) = delete;
    SelectionScope& operator=(const SelectionScope&) = delete;

private:
    MainParametri& selection_;
    Hive hive_;
    QString program_;
    QString section_;
};

// One access to the selected key: opens it, and closes it when the access ends.
class KeyScope {
public:
    explicit KeyScope(MainParametri& selection) : selection_(selection) { selection_.openSelectedKey(); }
    ~KeyScope() {
        if (!keptOpen_)
            selection_.closeSelectedKey();
    }
    KeyScope(const KeyScope&) = delete;
    KeyScope& operator=(const KeyScope&) = delete;

    // Leaves the key open for the next access to close, as one refused write does.
    void keepOpen() { keptOpen_ = true; }

private:
    MainParametri& selection_;
    bool keptOpen_ = false;
};

}  // namespace paramcor
