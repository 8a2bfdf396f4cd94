#include "Progress.h"

#include <unistd.h>

#include <cstdio>

namespace bodyseg {

namespace {

constexpr size_t kBarWidth = 30;
constexpr size_t kLabelWidth = 40;

}  // namespace

Progress::Progress(size_t total, bool enabled)
    : total_(total), enabled_(enabled && total > 0 && ::isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    clear();
}

void Progress::show(size_t done, const std::string& label) {
    if (!enabled_)
        return;
    const size_t filled = kBarWidth * done / total_;
    const std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, '.');
    // Long names keep their end, which is what tells inputs apart.
    const std::string shown =
        label.size() > kLabelWidth ? "..." + label.substr(label.size() - kLabelWidth + 3) : label;
    std::fprintf(stderr, "\r\033[K[%s] %zu/%zu %s", bar.c_str(), done, total_, shown.c_str());
    std::fflush(stderr);
    drawn_ = true;
}

void Progress::clear() {
    if (!drawn_)
        return;
    std::fprintf(stderr, "\r\033[K");
    std::fflush(stderr);
    drawn_ = false;
}

}  // namespace bodyseg
