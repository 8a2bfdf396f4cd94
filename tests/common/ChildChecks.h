// Checks made inside a body run by runInChild. GoogleTest assertions made in a forked child are
// lost with it, so the body collects what went wrong here and returns verdict(), which the parent
// asserts to be empty.
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace testsupport {

class ChildChecks {
  public:
    void expect(bool ok, const std::string& what) {
        if (!ok)
            failures_ += what + "\n";
    }

    void expect(const ::testing::AssertionResult& result, const std::string& what) {
        if (!result)
            failures_ += what + ": " + result.message() + "\n";
    }

    template <typename Actual, typename Expected>
    void expectEq(const Actual& actual, const Expected& expected, const std::string& what) {
        if (actual == expected)
            return;
        std::ostringstream text;
        text << what << ": got " << actual << ", expected " << expected << "\n";
        failures_ += text.str();
    }

    bool ok() const { return failures_.empty(); }
    // "" when every check held.
    const std::string& verdict() const { return failures_; }

  private:
    std::string failures_;
};

}  // namespace testsupport
