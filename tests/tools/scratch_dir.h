// A directory of its own for each test, left behind for nobody.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

class ScratchDir : public testing::Test {
  protected:
    ScratchDir() {
        std::string name = testing::TempDir() + "dscm-XXXXXX";
        if (::mkdtemp(name.data())) dir_ = name;
    }
    ~ScratchDir() override {
        if (!dir_.empty()) std::filesystem::remove_all(dir_);
    }

    std::string path(const std::string& name) const { return (dir_ / name).string(); }

    std::string put(const std::string& name, const Bytes& bytes) const {
        std::ofstream(path(name), std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        return path(name);
    }

    static Bytes get(const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), {});
    }

    std::vector<std::string> listing() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir_)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    std::filesystem::path dir_;
};
