// Runs a piece of a test in a forked child. Vendor functions are bound once per process, so every
// case about which library gets opened, or what happens when none can be, needs a fresh process.
#pragma once

#include <functional>
#include <string>

namespace testsupport {

// Runs `body` in a child process and returns what it returned: "" for success, otherwise a
// description of what went wrong. A child that crashes or exits early is reported as such.
std::string runInChild(const std::function<std::string()>& body);

}  // namespace testsupport
