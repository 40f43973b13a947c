// The fixture of every test suite: user messages and window messages go to recorders, and each test
// has a fresh temporary folder that goes with everything in it when the test ends. SimCore suites
// use cSimCoreFixture, which adds the active objects on top of this.
#pragma once

#include "tests/support/cRecordingSinks.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdlib.h>
#include <string>

class cKitFixture : public ::testing::Test
{
protected:
    cKitFixture()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "simcore-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::filesystem::filesystem_error("no temporary folder", pattern, std::error_code());
        m_folder = pattern + "/";
    }
    ~cKitFixture() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

    // The test's own folder, ending in '/': paths join by concatenation.
    std::string const& tempFolder() const { return m_folder; }
    std::string tempPath(std::string const& name) const { return m_folder + name; }

    cRecordingMessageSink messages;
    cRecordingHostWindow window;

private:
    std::string m_folder;
};
