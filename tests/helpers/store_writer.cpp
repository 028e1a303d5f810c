// Another program of the suite writing the store, started afresh (SQLite's state may
// not cross a fork): store_writer FOLDER KEY... sets a value in each key, made when
// missing; store_writer FOLDER KEY --delete NAME removes the tree NAME below KEY.
// Exits 0 when every write succeeded.
#include <CVLParamcor/SqliteRegistryStore.h>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    using namespace paramcor;
    if (argc < 3) {
        std::fprintf(stderr, "usage: store_writer FOLDER KEY... | FOLDER KEY --delete NAME\n");
        return 2;
    }
    SqliteRegistryStore store(argv[1]);
    const bool deleting = argc == 5 && std::strcmp(argv[3], "--delete") == 0;
    for (int i = 2; i < (deleting ? 3 : argc); ++i) {
        StoreKey key(store);
        if (key.create(Hive::CurrentUser, argv[i]) != regerr::Success ||
            (deleting ? store.deleteTree(key.handle(), argv[4])
                      : store.setValue(key.handle(), "v", regtype::Dword, {1, 0, 0, 0})) != regerr::Success) {
            std::fprintf(stderr, "%s\n", store.diagnostic(Hive::CurrentUser).c_str());
            return 1;
        }
    }
    return 0;
}
