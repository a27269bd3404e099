// Texts that are compared whole with those in tests/data/texts. One that is meant to
// change is taken from where its failing test has put it.
#pragma once

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

#include "tests/framework/temp_folder.h"

inline void expectRecorded(const std::string& name, const std::string& text) {
    if (text == contentOf(ORVO_TEST_DATA_DIR "/texts/" + name)) return;
    const std::filesystem::path now = std::filesystem::absolute(name + ".now");
    std::ofstream(now) << text;
    ADD_FAILURE() << "diff " ORVO_TEST_DATA_DIR "/texts/" << name << ' ' << now.string();
}
