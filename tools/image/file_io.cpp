// Whole files in and out. An output is written under a temporary name in its own directory, so that
// the rename stays inside one file system and is atomic: a reader sees the old file or the new one.
// The temporary file is made with open() rather than mkstemp(), whose 0600 would outlive the
// rename.

#include "tools/image/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tools/image/image.h"

namespace tools {

namespace fs = std::filesystem;

void fail(const std::string& path, const std::string& reason) {
    throw ImageError(path + ": " + reason);
}

void fail_errno(const std::string& path, int error) {
    fail(path, std::generic_category().message(error));
}

InputFile::InputFile(const std::string& path) : path_(path), file_(std::fopen(path.c_str(), "rb")) {
    if (!file_) fail_errno(path, errno);
    head_length_ = read(head_, head_size);
    if (read_error_ != 0) fail_errno(path, read_error_);
    if (head_length_ == 0) fail(path, "the file is empty");
}

std::size_t InputFile::read(std::uint8_t* bytes, std::size_t size) noexcept {
    const std::size_t count = std::fread(bytes, 1, size, file_.get());
    if (count < size && std::ferror(file_.get())) read_error_ = errno;
    return count;
}

namespace {

// The file that a name stands for: symbolic links are followed, also to a target that does not
// exist yet. A circle of links comes back as a link, which cannot be written.
fs::path follow_links(fs::path path) {
    std::error_code error;
    for (int hops = 0; hops < 40 && fs::is_symlink(path, error); ++hops) {
        path = path.parent_path() / fs::read_symlink(path, error);
    }
    return path;
}

// A descriptor that closes itself on the way out of an error.
struct Descriptor {
    int fd;
    explicit Descriptor(int open_fd) : fd(open_fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd >= 0) ::close(fd);
    }
    int close() {
        const int result = ::close(fd);
        fd = -1;
        return result;
    }
};

// A new file beside `target`, removed again unless it was renamed. Its short name fits wherever the
// target's does, and steps aside for what a killed run may have left.
class TemporaryFile {
  public:
    TemporaryFile(const fs::path& target, const std::string& name) : file_(-1) {
        const std::string base = ".part-" + std::to_string(::getpid()) + "-";
        for (int attempt = 0; attempt < 100 && file_.fd < 0; ++attempt) {
            path_ = (target.parent_path() / (base + std::to_string(attempt))).string();
            file_.fd = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (file_.fd < 0 && errno != EEXIST) break;
        }
        if (file_.fd < 0) fail_errno(name, errno);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!renamed_) ::unlink(path_.c_str());
    }

    int descriptor() const { return file_.fd; }

    void rename_to(const fs::path& target, const std::string& name) {
        if (file_.close() != 0 || ::rename(path_.c_str(), target.c_str()) != 0) {
            fail_errno(name, errno);
        }
        renamed_ = true;
    }

  private:
    std::string path_;
    Descriptor file_;
    bool renamed_ = false;
};

}  // namespace

void write_descriptor(int descriptor, const std::vector<std::uint8_t>& bytes,
                      const std::string& name) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail_errno(name, errno);
        done += std::size_t(count);
    }
}

namespace {

// What is no regular file (a device, a pipe) is written to where it stands.
bool is_special(const std::string& path) {
    struct stat status;
    if (::stat(path.c_str(), &status) != 0) return false;
    if (S_ISDIR(status.st_mode)) fail_errno(path, EISDIR);
    return !S_ISREG(status.st_mode);
}

}  // namespace

struct PendingFiles::File {
    std::string path;
    fs::path target;
    TemporaryFile written;
};

PendingFiles::PendingFiles() = default;
PendingFiles::~PendingFiles() = default;

void PendingFiles::add(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    if (is_special(path)) {
        Descriptor device(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
        if (device.fd < 0) fail_errno(path, errno);
        write_descriptor(device.fd, bytes, path);
        return;
    }
    const fs::path target = follow_links(path);
    files_.push_back(std::unique_ptr<File>(new File{path, target, TemporaryFile(target, path)}));
    write_descriptor(files_.back()->written.descriptor(), bytes, path);
}

void PendingFiles::commit() {
    for (const auto& file : files_) file->written.rename_to(file->target, file->path);
    files_.clear();
}

void write_file(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    PendingFiles file;
    file.add(path, bytes);
    file.commit();
}

void check_writable(const std::string& path) {
    if (is_special(path)) return;
    const fs::path directory = follow_links(path).parent_path();
    const char* name = directory.empty() ? "." : directory.c_str();
    if (::access(name, W_OK | X_OK) != 0) fail_errno(path, errno);
}

}  // namespace tools
