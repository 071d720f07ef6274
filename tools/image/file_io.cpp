// Whole files in and out.

#include "tools/image/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tools/image/image.h"
#include "tools/image/temporary_file.h"

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

std::string linked_file(const std::string& path) {
    fs::path file = path;
    std::error_code error;
    for (int hops = 0; hops < 40 && fs::is_symlink(file, error); ++hops) {
        file = file.parent_path() / fs::read_symlink(file, error);
    }
    return file.string();
}

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
    if (::stat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) fail_errno(path, errno);  // a circle of links, say
        return false;
    }
    if (S_ISDIR(status.st_mode)) fail_errno(path, EISDIR);
    return !S_ISREG(status.st_mode);
}

}  // namespace

struct PendingFiles::File {
    std::string path;
    fs::path target;
    TemporaryFile written;
};

PendingFiles::PendingFiles(bool replace) : replace_(replace) {}
PendingFiles::~PendingFiles() = default;

void PendingFiles::add(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    if (is_special(path)) {
        Descriptor device(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
        if (device.fd < 0) fail_errno(path, errno);
        write_descriptor(device.fd, bytes, path);
        return;
    }
    const fs::path target = linked_file(path);
    files_.push_back(std::unique_ptr<File>(new File{path, target, TemporaryFile(target, path)}));
    write_descriptor(files_.back()->written.descriptor(), bytes, path);
}

void PendingFiles::commit() {
    for (const auto& file : files_) file->written.rename_to(file->target, file->path, replace_);
    files_.clear();
}

void write_file(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    PendingFiles file;
    file.add(path, bytes);
    file.commit();
}

void check_writable(const std::string& path) {
    if (is_special(path)) return;
    const fs::path directory = fs::path(linked_file(path)).parent_path();
    const char* name = directory.empty() ? "." : directory.c_str();
    if (::access(name, W_OK | X_OK) != 0) fail_errno(path, errno);
}

}  // namespace tools
