// The format of a picture's file.
#include "host/dump/picture_file.h"

#include <filesystem>

#include "host/base/exit_code.h"
#include "host/base/printable.h"

namespace host {

PictureFormat formatOf(const std::string& file) {
    const std::string extension = std::filesystem::path(file).extension();
    if (extension == ".svg") return PictureFormat::kSvg;
    if (extension == ".png") return PictureFormat::kPng;
    if (extension == ".txt") return PictureFormat::kText;
    throw HostError(kUsage,
                    "-o takes a file that ends in .svg, .png or .txt, not " + printable(file));
}

}  // namespace host
