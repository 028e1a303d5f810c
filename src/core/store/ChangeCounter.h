// The change counter of a hive: a small file beside it ("-changes"), mapped shared
// by every process that uses the hive. Its first 64-bit word is the count: a writer
// bumps it after each commit; a reader that finds it moved forgets what it keeps in
// memory. So the memory of readers is right only while every committed write bumps
// it: a process that may write the hive but not the counter must not write at all.
// The second word names the hive file that the -wal and -shm beside it belong to
// (SideFiles.h). A counter of one word, made before that was kept, gets the second
// from its first writer.
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace paramcor::store {

class ChangeCounter {
public:
    static_assert(std::atomic_ref<std::uint64_t>::is_always_lock_free,
                  "the counter is shared between processes: it cannot use a lock of ours");

    enum class State {
        Missing,   // no file yet: nobody counts, nobody keeps values in memory
        Unusable,  // something else is in its place: the same for every process
        ReadOnly,  // counted by others, not by this process
        Writable,
    };

    ChangeCounter() = default;
    ChangeCounter(const ChangeCounter&) = delete;
    ChangeCounter& operator=(const ChangeCounter&) = delete;
    ~ChangeCounter();

    // Maps the counter of a hive, read-write for a `writer` of the hive and
    // read-only otherwise. A writer creates a missing counter, with the mode and, when
    // it runs as root, the owner of the hive file described by `hive`; it gives a
    // counter it owns the write permissions of the hive when it lacks them. Symbolic
    // links, other kinds of files, files with other names and files not of the size
    // of a counter (of one word or two) are never opened for writing nor changed.
    void open(const std::string& path, bool writer, const struct stat& hive);

    State state() const { return state_; }
    bool mapped() const { return word_ != nullptr; }
    bool writable() const { return state_ == State::Writable; }
    // A symbolic link in its place: somebody redirects the hive's news, and writes
    // would go unheard by whoever follows the file.
    bool redirected() const { return redirected_; }
    // Why the counter is Unusable, or ReadOnly for a writer; empty otherwise.
    const std::string& problem() const { return problem_; }

    std::uint64_t load() const {
        return word_ ? std::atomic_ref<std::uint64_t>(*word_).load(std::memory_order_acquire) : 0;
    }

    // Whether the counter keeps the owner of the side files: a writer may also set it.
    bool keepsSideFilesOwner() const { return word_ != nullptr && words_ > 1; }
    std::uint64_t sideFilesOwner() const {
        return keepsSideFilesOwner()
                   ? std::atomic_ref<std::uint64_t>(word_[1]).load(std::memory_order_acquire)
                   : 0;
    }
    // Only when writable() and keepsSideFilesOwner(); as compare_exchange_strong.
    bool exchangeSideFilesOwner(std::uint64_t& expected, std::uint64_t desired) {
        return std::atomic_ref<std::uint64_t>(word_[1]).compare_exchange_strong(expected, desired,
                                                                                 std::memory_order_acq_rel);
    }

    // Returns the value before the bump. Only when writable(). The file's time is set
    // too: a write through the mapping tells nobody, a change of status wakes whoever
    // follows the file (inotify), so that programs can be told of changes without asking.
    std::uint64_t bump();

private:
    void release();
    bool create(const std::string& path, const struct stat& hive);
    void fail(State state, std::string problem);

    std::uint64_t* word_ = nullptr;
    std::size_t words_ = 0;  // mapped
    std::string path_;
    State state_ = State::Missing;
    bool redirected_ = false;
    std::string problem_;
};

}  // namespace paramcor::store
