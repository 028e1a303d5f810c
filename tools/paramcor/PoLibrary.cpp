#include "PoLibrary.h"

#include <gettext-po.h>

#include <dlfcn.h>

#include <string>
#include <type_traits>

namespace paramcor::tool::po {
namespace {

constexpr char kLibrary[] = "libgettextpo.so.0";

struct Loaded {
    void* handle = nullptr;
    std::string error;
};

const Loaded& library() {
    static const Loaded loaded = [] {
        Loaded l;
        l.handle = ::dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
        if (!l.handle)
            l.error = ::dlerror();
        return l;
    }();
    return loaded;
}

// Calls the library's function `name`, whose stand-in here is `Self`; without the
// library, returns what the stand-in's type makes of nothing.
template <auto Self, typename... Arguments>
auto forward(const char* name, Arguments... arguments) {
    using Function = decltype(Self);
    using Result = std::invoke_result_t<Function, Arguments...>;
    static const auto real =
        library().handle ? reinterpret_cast<Function>(::dlsym(library().handle, name)) : Function{};
    if (real)
        return real(arguments...);
    if constexpr (!std::is_void_v<Result>)
        return Result{};
}

}  // namespace

QString libraryProblem() {
    return library().handle ? QString()
                            : QStringLiteral("%1 cannot be loaded: %2")
                                  .arg(QLatin1String(kLibrary), QString::fromLocal8Bit(library().error));
}

}  // namespace paramcor::tool::po

using paramcor::tool::po::forward;

// The functions of the library that paramcor calls, by their real names (po_file_read
// and po_file_write are macros of the header).
#define PO_HIDDEN extern "C" __attribute__((visibility("hidden")))
PO_HIDDEN po_file_t po_file_create() {
    return forward<&po_file_create>("po_file_create");
}
PO_HIDDEN po_file_t po_file_read_v3(const char* filename, po_xerror_handler_t handler) {
    return forward<&po_file_read_v3>("po_file_read_v3", filename, handler);
}
PO_HIDDEN po_file_t po_file_write_v2(po_file_t file, const char* filename, po_xerror_handler_t handler) {
    return forward<&po_file_write_v2>("po_file_write_v2", file, filename, handler);
}
PO_HIDDEN void po_file_free(po_file_t file) {
    forward<&po_file_free>("po_file_free", file);
}
PO_HIDDEN const char* const* po_file_domains(po_file_t file) {
    return forward<&po_file_domains>("po_file_domains", file);
}
PO_HIDDEN const char* po_file_domain_header(po_file_t file, const char* domain) {
    return forward<&po_file_domain_header>("po_file_domain_header", file, domain);
}
PO_HIDDEN char* po_header_field(const char* header, const char* field) {
    return forward<&po_header_field>("po_header_field", header, field);
}
PO_HIDDEN po_message_iterator_t po_message_iterator(po_file_t file, const char* domain) {
    return forward<&po_message_iterator>("po_message_iterator", file, domain);
}
PO_HIDDEN void po_message_iterator_free(po_message_iterator_t iterator) {
    forward<&po_message_iterator_free>("po_message_iterator_free", iterator);
}
PO_HIDDEN po_message_t po_next_message(po_message_iterator_t iterator) {
    return forward<&po_next_message>("po_next_message", iterator);
}
PO_HIDDEN void po_message_insert(po_message_iterator_t iterator, po_message_t message) {
    forward<&po_message_insert>("po_message_insert", iterator, message);
}
PO_HIDDEN po_message_t po_message_create() {
    return forward<&po_message_create>("po_message_create");
}
PO_HIDDEN const char* po_message_msgctxt(po_message_t message) {
    return forward<&po_message_msgctxt>("po_message_msgctxt", message);
}
PO_HIDDEN const char* po_message_msgid(po_message_t message) {
    return forward<&po_message_msgid>("po_message_msgid", message);
}
PO_HIDDEN const char* po_message_msgid_plural(po_message_t message) {
    return forward<&po_message_msgid_plural>("po_message_msgid_plural", message);
}
PO_HIDDEN const char* po_message_msgstr(po_message_t message) {
    return forward<&po_message_msgstr>("po_message_msgstr", message);
}
PO_HIDDEN const char* po_message_extracted_comments(po_message_t message) {
    return forward<&po_message_extracted_comments>("po_message_extracted_comments", message);
}
PO_HIDDEN int po_message_is_obsolete(po_message_t message) {
    return forward<&po_message_is_obsolete>("po_message_is_obsolete", message);
}
PO_HIDDEN int po_message_is_fuzzy(po_message_t message) {
    return forward<&po_message_is_fuzzy>("po_message_is_fuzzy", message);
}
PO_HIDDEN void po_message_set_msgctxt(po_message_t message, const char* text) {
    forward<&po_message_set_msgctxt>("po_message_set_msgctxt", message, text);
}
PO_HIDDEN void po_message_set_msgid(po_message_t message, const char* text) {
    forward<&po_message_set_msgid>("po_message_set_msgid", message, text);
}
PO_HIDDEN void po_message_set_msgstr(po_message_t message, const char* text) {
    forward<&po_message_set_msgstr>("po_message_set_msgstr", message, text);
}
PO_HIDDEN void po_message_set_extracted_comments(po_message_t message, const char* text) {
    forward<&po_message_set_extracted_comments>("po_message_set_extracted_comments", message, text);
}
PO_HIDDEN void po_message_set_fuzzy(po_message_t message, int fuzzy) {
    forward<&po_message_set_fuzzy>("po_message_set_fuzzy", message, fuzzy);
}
