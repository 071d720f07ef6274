// A directory of its own for each test, left behind for nobody.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

struct ScratchDir : testing::Test {
    ScratchDir() {
        std::string name = testing::TempDir() + "dscm-XXXXXX";
        if (::mkdtemp(name.data())) dir_ = name;
    }
    ~ScratchDir() override { std::filesystem::remove_all(dir_); }

    std::string path(const std::string& name) const { return (dir_ / name).string(); }

    std::string put(const std::string& name, const Bytes& bytes) const {
        std::filesystem::remove(path(name));  // writing over a file waits for the disk on ext4
        std::ofstream out(path(name), std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
        return path(name);
    }

    static Bytes get(const std::string& file) {
        std::ifstream in(file, std::ios::binary);
        return Bytes(std::istreambuf_iterator<char>(in), {});
    }

    std::set<std::filesystem::path> listing() const {
        return {std::filesystem::directory_iterator(dir_), std::filesystem::directory_iterator()};
    }

    std::filesystem::path dir_;
};
