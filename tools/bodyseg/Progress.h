// A one-line progress bar on stderr, drawn only when stderr is a terminal: redirected output and
// logs stay free of carriage returns.
#pragma once

#include <stddef.h>

#include <string>

namespace bodyseg {

class Progress {
  public:
    // `enabled` is and-ed with stderr being a terminal.
    Progress(size_t total, bool enabled);
    ~Progress();

    // Draws "[#####.....] done/total label".
    void show(size_t done, const std::string& label);
    // Removes the bar so that other output starts on a clean line; the next show() redraws it.
    void clear();

  private:
    size_t total_;
    bool enabled_;
    bool drawn_ = false;
};

}  // namespace bodyseg
