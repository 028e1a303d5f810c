#include "PoCatalog.h"

#include "base/CodePage.h"
#include "Output.h"
#include "Files.h"
#include "PoLibrary.h"
#include "Wording.h"

#include <QDir>
#include <QFile>
#include <QTemporaryFile>

#include <gettext-po.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

// libgettextpo keeps a few bytes per file and per message context for the life of
// the process; they are its own, not this program's.
#if defined(__SANITIZE_ADDRESS__)
#define PARAMCOR_LSAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PARAMCOR_LSAN 1
#endif
#endif
#ifdef PARAMCOR_LSAN
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libgettextpo\n";
}
extern "C" const char* __lsan_default_options() {
    return "print_suppressions=0";
}
#endif

namespace paramcor::tool::po {
namespace {

// What libgettextpo reports while it reads, kept for the caller. Its handlers are
// plain functions: one reading at a time.
struct Problems {
    int line = 0;  // 0: none known
    QString first;
    int count = 0;
};
Problems* problems = nullptr;
QString scratchFile;  // removed when libgettextpo gives up

void record(int severity, std::size_t line, const char* text) {
    if (severity == PO_SEVERITY_WARNING || !problems)
        return;
    if (problems->count++ == 0) {
        problems->first = QString::fromUtf8(text).trimmed();
        problems->line = line == static_cast<std::size_t>(-1) ? 0 : static_cast<int>(line);
    }
}

// A fatal error must not return to libgettextpo, which would go on with what it
// could not make: say it and end here.
[[noreturn]] void giveUp(const char* text) {
    std::fprintf(stderr, "paramcor: %s\n", text);
    if (!scratchFile.isEmpty())
        QFile::remove(scratchFile);
    std::_Exit(1);
}

void onError(int severity, po_message_t, const char*, std::size_t line, std::size_t, int, const char* text) {
    if (severity == PO_SEVERITY_FATAL_ERROR)
        giveUp(text);
    record(severity, line, text);
}

void onError2(int severity, po_message_t, const char*, std::size_t line, std::size_t, int, const char* text,
              po_message_t, const char*, std::size_t, std::size_t, int, const char*) {
    if (severity == PO_SEVERITY_FATAL_ERROR)
        giveUp(text);
    record(severity, line, text);
}

const po_xerror_handler kHandler = {onError, onError2};

struct FileFree {
    void operator()(po_file_t file) const { po_file_free(file); }
};
using PoFile = std::unique_ptr<std::remove_pointer_t<po_file_t>, FileFree>;

struct IteratorFree {
    void operator()(po_message_iterator_t iterator) const { po_message_iterator_free(iterator); }
};
using Iterator = std::unique_ptr<std::remove_pointer_t<po_message_iterator_t>, IteratorFree>;

QString charsetOf(const QString& header) {
    const QString type = headerField(header, "Content-Type");
    const qsizetype at = type.indexOf(QLatin1String("charset="), 0, Qt::CaseInsensitive);
    return at < 0 ? QString() : type.mid(at + 8).section(u';', 0, 0).trimmed();
}

bool isUtf8Charset(const QString& charset) {
    // "CHARSET" is what a template carries before anyone chose.
    for (const char* name : {"UTF-8", "UTF8", "ASCII", "US-ASCII", "CHARSET"})
        if (charset.compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
            return true;
    return charset.isEmpty();
}

QString text(const char* bytes) {
    return bytes ? QString::fromUtf8(bytes) : QString();
}

QString where(const QString& path, int line) {
    return line > 0 ? QStringLiteral("%1:%2").arg(path).arg(line) : path;
}

int lineAt(const QByteArray& bytes, qsizetype at) {
    return static_cast<int>(QByteArrayView(bytes).first(at).count('\n')) + 1;
}

// The first line that is not UTF-8, or 0.
int lineNotUtf8(const QByteArray& bytes) {
    int number = 1;
    for (const QByteArray& line : bytes.split('\n')) {
        if (!fromStrictUtf8(line))
            return number;
        ++number;
    }
    return 0;
}

// The line of each message's msgid, obsolete ones included, in the order
// libgettextpo hands the messages out: it does not tell where a message was.
std::vector<int> messageLines(const QByteArray& bytes) {
    std::vector<int> lines;
    int number = 1;
    for (QByteArray line : bytes.split('\n')) {
        line = line.trimmed();
        if (line.startsWith("#~"))
            line = line.sliced(2).trimmed();
        if (line.startsWith("msgid ") || line.startsWith("msgid\""))
            lines.push_back(number);
        ++number;
    }
    return lines;
}

}  // namespace

QString headerField(const QString& header, const char* field) {
    const QByteArray bytes = header.toUtf8();
    char* value = po_header_field(bytes.constData(), field);
    const QString result = value ? QString::fromUtf8(value).trimmed() : QString();
    std::free(value);
    return result;
}

Catalog read(const QString& path) {
    if (const QString problem = libraryProblem(); !problem.isEmpty())
        throw Failure(tr("%1 cannot be read: %2").arg(path, problem));
    QByteArray bytes = readWhole(path, tr("a PO file"));
    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF"))
        throw Failure(tr("%1:1: it is UTF-16 text; a PO file is UTF-8 (msgconv -t UTF-8 converts it)").arg(path));
    if (const qsizetype zero = bytes.indexOf('\0'); zero >= 0)
        throw Failure(tr("%1: unexpected encoding: it holds zero bytes, as UTF-16 text or binary data "
                         "do; a PO file is UTF-8 text")
                          .arg(where(path, lineAt(bytes, zero))));
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes.remove(0, 3);  // some editors put it there; gettext's reader does not expect it
    if (const int line = lineNotUtf8(bytes))
        throw Failure(tr("%1: the line is not valid UTF-8").arg(where(path, line)));
    const std::vector<int> lines = messageLines(bytes);

    // libgettextpo reads files by name: it reads what was checked here.
    QTemporaryFile copy(QDir::temp().filePath(QStringLiteral("paramcor-XXXXXX.po")));
    if (!copy.open() || copy.write(bytes) != bytes.size() || !copy.flush())
        throw Failure(tr("%1 cannot be read: no room for a temporary copy (%2)").arg(path, copy.errorString()));
    copy.close();
    scratchFile = copy.fileName();

    Problems found;
    problems = &found;
    PoFile file(po_file_read(QFile::encodeName(copy.fileName()).constData(), &kHandler));
    problems = nullptr;
    scratchFile.clear();
    if (!file)
        throw Failure(tr("%1 cannot be read").arg(path));
    if (found.count > 0)
        throw Failure(QStringLiteral("%1: %2").arg(where(path, found.line), found.first));

    Catalog catalog;
    const char* header = po_file_domain_header(file.get(), nullptr);
    catalog.header = header ? QString::fromUtf8(header) : QString();
    const QString charset = charsetOf(catalog.header);
    if (!isUtf8Charset(charset))
        throw Failure(tr("%1: it is written in %2; a PO file is UTF-8 here (msgconv -t UTF-8 converts it)")
                          .arg(where(path, lines.empty() ? 0 : lines.front()), charset));

    std::size_t index = 0;
    for (const char* const* domain = po_file_domains(file.get()); domain && *domain; ++domain) {
        const Iterator messages(po_message_iterator(file.get(), *domain));
        while (po_message_t message = po_next_message(messages.get())) {
            const int line = index < lines.size() ? lines[index] : 0;
            ++index;
            if (po_message_is_obsolete(message))
                continue;
            const char* context = po_message_msgctxt(message);
            const QString source = text(po_message_msgid(message));
            if (!context && source.isEmpty())
                continue;  // the header
            if (po_message_msgid_plural(message))
                throw Failure(tr("%1: \"%2\" has plural forms, which the suite's texts do not have")
                                  .arg(where(path, line), source));
            Entry entry;
            entry.line = line;
            entry.hasContext = context != nullptr;
            entry.context = text(context);
            entry.source = source;
            entry.translation = text(po_message_msgstr(message));
            entry.comment = text(po_message_extracted_comments(message));
            entry.fuzzy = po_message_is_fuzzy(message) != 0;
            catalog.entries.push_back(std::move(entry));
        }
    }
    return catalog;
}

QByteArray write(const Catalog& catalog) {
    if (const QString problem = libraryProblem(); !problem.isEmpty())
        throw Failure(tr("the PO file cannot be made: %1").arg(problem));
    QTemporaryFile out(QDir::temp().filePath(QStringLiteral("paramcor-XXXXXX.po")));
    if (!out.open())
        throw Failure(tr("no room for a temporary file: %1").arg(out.errorString()));
    out.close();

    const PoFile file(po_file_create());
    {
        const Iterator messages(po_message_iterator(file.get(), nullptr));
        po_message_t header = po_message_create();
        po_message_set_msgid(header, "");
        po_message_set_msgstr(header, catalog.header.toUtf8().constData());
        po_message_insert(messages.get(), header);
        for (const Entry& entry : catalog.entries) {
            po_message_t message = po_message_create();
            po_message_set_msgctxt(message, entry.context.toUtf8().constData());
            po_message_set_msgid(message, entry.source.toUtf8().constData());
            po_message_set_msgstr(message, entry.translation.toUtf8().constData());
            if (!entry.comment.isEmpty()) {
                QString comment = entry.comment;
                comment.remove(u'\r');
                po_message_set_extracted_comments(message, (comment + u'\n').toUtf8().constData());
            }
            if (entry.fuzzy)
                po_message_set_fuzzy(message, 1);
            po_message_insert(messages.get(), message);
        }
    }
    scratchFile = out.fileName();
    Problems found;
    problems = &found;
    po_file_write(file.get(), QFile::encodeName(out.fileName()).constData(), &kHandler);
    problems = nullptr;
    scratchFile.clear();
    if (found.count > 0)
        throw Failure(tr("the PO file cannot be made: %1").arg(found.first));
    QFile written(out.fileName());
    if (!written.open(QIODevice::ReadOnly))
        throw Failure(tr("the PO file cannot be made: %1").arg(written.errorString()));
    return written.readAll();
}

}  // namespace paramcor::tool::po
