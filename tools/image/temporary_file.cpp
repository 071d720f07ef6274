// A temporary file lies in the directory of its target, so that the rename stays inside one file
// system and is atomic: a reader sees the old file or the new one. It is made with open() rather
// than mkstemp(), whose 0600 would outlive the rename.
//
// A signal handler may call next to nothing and meets the program anywhere. So the names of the
// files under way lie in a fixed table of atomic pointers, and signals wait while a file is made
// and its name put there.

#include "tools/image/temporary_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include "tools/image/file_io.h"
#include "tools/image/image.h"

namespace tools {

namespace {

constexpr int ending_signals[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM};

// More files than this are not under way at once; those beyond would stay behind.
std::atomic<const char*> names_under_way[16];
static_assert(std::atomic<const char*>::is_always_lock_free, "signal handlers take no locks");

extern "C" void remove_files_under_way(int signal) {
    for (const auto& name : names_under_way) {
        if (const char* path = name.load()) ::unlink(path);
    }
    ::raise(signal);  // ends the program on return, as the handler is no longer set
}

void exchange_name(const char* old_name, const char* new_name) {
    for (auto& name : names_under_way) {
        const char* expected = old_name;
        if (name.compare_exchange_strong(expected, new_name)) return;
    }
}

class SignalsHeld {
  public:
    SignalsHeld() {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : ending_signals) sigaddset(&held, signal);
        ::sigprocmask(SIG_BLOCK, &held, &before_);
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;
    ~SignalsHeld() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_;
};

int rename_to_free_name(const char* from, const char* to) {
    const int result = ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
    // Some file systems do not know how; then the check before the work has to do.
    return result != 0 && (errno == EINVAL || errno == ENOSYS) ? ::rename(from, to) : result;
}

}  // namespace

Descriptor::~Descriptor() {
    if (fd >= 0) ::close(fd);
}

int Descriptor::close() {
    const int result = ::close(fd);
    fd = -1;
    return result;
}

TemporaryFile::TemporaryFile(const std::filesystem::path& target, const std::string& name)
    : file_(-1) {
    const std::string base = ".part-" + std::to_string(::getpid()) + "-";
    const SignalsHeld held;
    for (int attempt = 0; attempt < 100 && file_.fd < 0; ++attempt) {
        path_ = (target.parent_path() / (base + std::to_string(attempt))).string();
        file_.fd = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (file_.fd < 0 && errno != EEXIST) break;
    }
    if (file_.fd < 0) fail_errno(name, errno);
    exchange_name(nullptr, path_.c_str());
}

TemporaryFile::~TemporaryFile() {
    if (!renamed_) ::unlink(path_.c_str());
    exchange_name(path_.c_str(), nullptr);
}

void TemporaryFile::rename_to(const std::filesystem::path& target, const std::string& name,
                              bool replace) {
    const int closed = file_.close();
    if (closed != 0) fail_errno(name, errno);
    const int result = replace ? ::rename(path_.c_str(), target.c_str())
                               : rename_to_free_name(path_.c_str(), target.c_str());
    if (result != 0) fail_errno(name, errno);
    renamed_ = true;
}

void remove_unfinished_files_on_signals() {
    struct sigaction action = {};
    action.sa_handler = remove_files_under_way;
    action.sa_flags = int(SA_RESETHAND);
    for (const int signal : ending_signals) {
        struct sigaction before = {};
        // What is ignored, as by nohup, stays ignored.
        if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL) {
            ::sigaction(signal, &action, nullptr);
        }
    }
}

}  // namespace tools
