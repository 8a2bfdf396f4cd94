#include "Inputs.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "ImageIo.h"

namespace bodyseg {

namespace {

namespace fs = std::filesystem;

const char kKnownKinds[] = ".png, .jpg, .jpeg, .nv21, .nv12, .yuv or .y4m";

std::string lowerExtension(const std::string& path) {
    std::string ext = fs::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

// False for a name that is neither a photo, a raw dump nor a video.
bool classify(const std::string& path, PixelFormat yuvFormat, Input* input) {
    const std::string ext = lowerExtension(path);
    input->path = path;
    input->name = fs::path(path).stem().string();
    if (ext == ".png" || ext == ".jpg" || ext == ".jpeg") {
        input->kind = InputKind::Photo;
    } else if (ext == ".nv21" || ext == ".nv12" || ext == ".yuv") {
        input->kind = InputKind::RawDump;
        input->rawFormat = ext == ".nv21"   ? PixelFormat::NV21
                           : ext == ".nv12" ? PixelFormat::NV12
                                            : yuvFormat;
    } else if (ext == ".y4m") {
        input->kind = InputKind::Y4m;
    } else {
        return false;
    }
    return true;
}

bool addDirectory(const std::string& dir, PixelFormat yuvFormat, std::vector<Input>* inputs,
                  std::string* error) {
    std::error_code failure;
    std::vector<std::string> files;
    for (fs::directory_iterator it(dir, failure), end; !failure && it != end;
         it.increment(failure)) {
        if (it->is_regular_file(failure))
            files.push_back(it->path().string());
    }
    if (failure) {
        *error = "cannot list " + dir + ": " + failure.message();
        return false;
    }
    std::sort(files.begin(), files.end());
    const size_t before = inputs->size();
    for (const std::string& file : files) {
        Input input;
        if (classify(file, yuvFormat, &input))
            inputs->push_back(input);
    }
    if (inputs->size() == before) {
        *error = "no inputs in " + dir + " (files ending in " + kKnownKinds + ")";
        return false;
    }
    return true;
}

bool addPath(const std::string& path, PixelFormat yuvFormat, std::vector<Input>* inputs,
             std::string* error) {
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) {
        *error = "cannot read " + path + ": " + std::strerror(errno);
        return false;
    }
    if (S_ISDIR(info.st_mode))
        return addDirectory(path, yuvFormat, inputs, error);
    Input input;
    if (!classify(path, yuvFormat, &input)) {
        *error = "unknown input type '" + lowerExtension(path) + "' of " + path + " (use " +
                 kKnownKinds + ")";
        return false;
    }
    inputs->push_back(input);
    return true;
}

bool readList(const std::string& listFile, std::vector<std::string>* paths, std::string* error) {
    std::vector<uint8_t> bytes;
    if (!readFile(listFile, &bytes, error))
        return false;
    std::istringstream in(std::string(bytes.begin(), bytes.end()));
    std::string line;
    while (std::getline(in, line)) {
        while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back())))
            line.pop_back();
        if (!line.empty())
            paths->push_back(line);
    }
    return true;
}

}  // namespace

bool collectInputs(const std::vector<std::string>& args, const std::string& listFile,
                   PixelFormat yuvFormat, std::vector<Input>* inputs, std::string* error) {
    std::vector<std::string> paths = args;
    if (!listFile.empty() && !readList(listFile, &paths, error))
        return false;
    for (const std::string& path : paths) {
        if (!addPath(path, yuvFormat, inputs, error))
            return false;
    }
    if (inputs->empty()) {
        *error = "no inputs in " + listFile;
        return false;
    }
    return true;
}

}  // namespace bodyseg
