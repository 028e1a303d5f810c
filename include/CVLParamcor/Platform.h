// What the library needs from the machine it runs on, gathered in one place so
// that a host or a test can replace each piece on its own: the registry store, the
// message boxes, the windows, the library's folder, the clock and the locale's
// separators. One Platform is installed per process.
#pragma once

#include <CVLParamcor/Export.h>

#include <CVLParamcor/RegistryStore.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include <QString>

#include <functional>
#include <memory>

namespace paramcor {

class Parametri;

/// The number separators of the user's locale.
struct Separators {
    QString decimal;    ///< "," in Italian
    QString thousands;  ///< "." in Italian
};

/// Flags and answers of a message box, as the system message box takes them.
namespace mb {
constexpr int OkOnly = 0;  ///< the OK button alone
constexpr int YesNo = 4;  ///< Yes and No buttons
constexpr int Critical = 16;  ///< the critical icon
constexpr int Question = 32;  ///< the question icon
constexpr int Exclamation = 48;  ///< the warning icon
constexpr int Information = 64;  ///< the information icon
constexpr int DefaultButton2 = 256;  ///< the second button is the default one

constexpr int Ok = 1;  ///< answer: OK
constexpr int Cancel = 2;  ///< answer: Cancel (the box closed)
constexpr int Yes = 6;  ///< answer: Yes
constexpr int No = 7;  ///< answer: No
}  // namespace mb

/// The library's message boxes: replace them (Platform::messages) to record them in
/// tests or to show them another way. The default shows the windows' library's boxes
/// when it is loaded and a QApplication runs, and writes to standard error otherwise.
class CVLPARAMCOR_EXPORT MessageBoxes {
public:
    virtual ~MessageBoxes() = default;
    /// Shows `text` and returns the button pressed (mb::Ok, mb::Yes, mb::No...).
    /// A null `title` means the library's own title.
    virtual int show(const QString& text, int flags, const QString& title) = 0;
    /// The system beep that goes with some warnings.
    virtual void beep() {}
};

/// The library's windows. The headless default says that no window is available,
/// changes nothing and answers "not changed".
class CVLPARAMCOR_EXPORT Dialogs {
public:
    virtual ~Dialogs() = default;
    /// The language window; true when the user confirmed another language,
    /// which is then in `language`.
    virtual bool chooseLanguage(Parametri& owner, short& language);
    /// The text correction window.
    virtual void correctTexts(Parametri& owner);
    /// The folder editor, showing the folders that match `filter` (all when empty);
    /// true when confirming wrote at least one folder.
    virtual bool editFolders(Parametri& owner, const QString& filter);
    /// The program's language is now `language` (1 to 15): from now on the windows
    /// show Qt's own texts, such as the standard buttons, in it. Called from any
    /// thread, whether or not windows can be shown yet; by default nothing happens.
    virtual void languageChanged(short language);
    /// The about window of the program named so.
    virtual void showInformation(Parametri& owner, const QString& program, const QString& version);
    /// The window of the suite's and the library's versions.
    virtual void showVersions(Parametri& owner);

protected:
    /// Tells the user, by a message box, that the window `what` cannot be shown here.
    static void reportNoWindow(const QString& what);
};

/// The seams of the library: what it asks of the system, replaceable as a whole by a
/// host or a test (installPlatform). For example, a test that records message boxes
/// and keeps the hives in a temporary folder:
///
///     paramcor::Platform test;
///     test.registry = std::make_shared<paramcor::SqliteRegistryStore>(folder.path().toStdString());
///     test.messages = recorder;  // a MessageBoxes that keeps what it was shown
///     paramcor::installPlatform(test);
struct CVLPARAMCOR_EXPORT Platform {
    std::shared_ptr<RegistryStore> registry;  ///< the three hives
    std::shared_ptr<MessageBoxes> messages;   ///< every message box of the library
    std::shared_ptr<Dialogs> dialogs;         ///< the windows; headless when none
    QString libraryFolder;                    ///< empty: the folder holding the library
    std::function<double()> timer;            ///< seconds since midnight, wraps like the platform's
    std::function<Separators()> separators;   ///< decimal and thousands separators of the user's locale
};

/// The installed platform; the defaults of the pieces left empty are filled in on first use.
CVLPARAMCOR_EXPORT Platform& platform();

/// Replaces the platform (empty pieces take their defaults) and resets the
/// library-wide registry selection.
CVLPARAMCOR_EXPORT void installPlatform(Platform replacement);

/// Windows of a library linked into the program: CVLParamcorUi registers its
/// message boxes and dialogs when it is loaded (null withdraws them). The default
/// message boxes and dialogs use them while a QApplication exists and the call
/// comes from its thread, and behave headless otherwise.
CVLPARAMCOR_EXPORT void registerWindows(std::shared_ptr<MessageBoxes> messages, std::shared_ptr<Dialogs> dialogs);

/// The defaults, for hosts that replace only some pieces.
CVLPARAMCOR_EXPORT std::shared_ptr<RegistryStore> defaultRegistryStore();
/// The same folders with other settings: how long a write waits, who may read the files.
CVLPARAMCOR_EXPORT std::shared_ptr<RegistryStore> defaultRegistryStore(const SqliteRegistryStore::Options& options);
CVLPARAMCOR_EXPORT std::shared_ptr<MessageBoxes> headlessMessageBoxes();  ///< to standard error
CVLPARAMCOR_EXPORT std::shared_ptr<Dialogs> headlessDialogs();            ///< no window at all
CVLPARAMCOR_EXPORT QString libraryFolder();  ///< the installed one, or the folder of the loaded library
CVLPARAMCOR_EXPORT double secondsSinceMidnight();  ///< the default timer
CVLPARAMCOR_EXPORT Separators systemSeparators();   ///< the default separators, from the locale

}  // namespace paramcor
