/// A platform root for one test.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace test {

/// An empty folder that is removed by the destructor.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "sealkit-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::filesystem::filesystem_error("mkdtemp", pattern,
                                                    std::error_code(errno, std::generic_category()));
        folder = pattern;
    }
    TemporaryFolder(TemporaryFolder const&) = delete;
    TemporaryFolder& operator=(TemporaryFolder const&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    /// The path of the entry `name`; by default the folder itself.
    std::filesystem::path path(std::string_view name = {}) const {
        return name.empty() ? folder : folder / name;
    }

    /// Writes a file, and creates its missing folders.
    void write(std::string_view name, std::string_view content) const {
        std::filesystem::create_directories(path(name).parent_path());
        std::ofstream(path(name), std::ios::binary) << content;
    }

    std::string read(std::string_view name) const {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

private:
    std::filesystem::path folder;
};

/// Sets an environment variable during its lifetime, or unsets it for a null value.
class EnvironmentVariable {
public:
    EnvironmentVariable(char const* variable, char const* value) : name(variable) {
        if (char const* const old = getenv(name)) {
            wasSet = true;
            before = old;
        }
        assign(value);
    }
    EnvironmentVariable(EnvironmentVariable const&) = delete;
    EnvironmentVariable& operator=(EnvironmentVariable const&) = delete;
    ~EnvironmentVariable() { assign(wasSet ? before.c_str() : nullptr); }

private:
    void assign(char const* value) const {
        if (value != nullptr)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }

    char const* name;
    bool wasSet = false;
    std::string before;
};

/// A test with its own empty platform root.
class PlatformRootTest : public testing::Test {
protected:
    TemporaryFolder root;

private:
    EnvironmentVariable const variable{"KP_ROOT", root.path().c_str()};
};

} // namespace test
