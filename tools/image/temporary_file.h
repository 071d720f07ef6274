// Files under way: written beside their place and renamed when complete; not for use outside
// tools/image.
#pragma once

#include <filesystem>
#include <string>

namespace tools {

// A descriptor that closes itself on the way out of an error.
struct Descriptor {
    int fd;
    explicit Descriptor(int open_fd) : fd(open_fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();
    int close();
};

// A new file beside `target`, removed again unless it was renamed, and by the signals of
// remove_unfinished_files_on_signals. Its short name fits wherever the target's does, and steps
// aside for what a killed run may have left. `name` stands in the errors' texts.
class TemporaryFile {
  public:
    TemporaryFile(const std::filesystem::path& target, const std::string& name);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    int descriptor() const { return file_.fd; }

    // Without `replace` a file of that name is an error, also one that has just come up.
    void rename_to(const std::filesystem::path& target, const std::string& name, bool replace);

  private:
    std::string path_;
    Descriptor file_;
    bool renamed_ = false;
};

}  // namespace tools
