#pragma once

#include "Support/TempTree.h"

#include <nlohmann/json.hpp>

#include <string>

#include <sys/types.h>

namespace Keld::Test
{
/// A Chromium without a window, driven through its debugging pipe: pointer and keys arrive as those of a person. All
/// calls throw std::runtime_error when the browser does not answer.
class Browser
{
public:
    Browser();
    ~Browser();

    Browser(const Browser &) = delete;
    Browser &operator=(const Browser &) = delete;

    /// Shows a file in a window of 1,000 by 700 pixels, and waits until it is loaded.
    void Open(const std::string &path);

    /// The value of an expression of the page's script.
    nlohmann::json Evaluate(const std::string &expression);

    /// Waits until an expression is true; false when it does not become so.
    bool Becomes(const std::string &expression);

    void MoveTo(int x, int y);
    void Click(int x, int y);

    /// \param key  its name, as "Enter"
    /// \param code the number of the key, which some pages look at
    void Press(const std::string &key, int code);

    /// "light" or "dark", as the person prefers.
    void PreferScheme(const std::string &scheme);

private:
    nlohmann::json Call(const std::string &method, const nlohmann::json &parameters);
    nlohmann::json ReadMessage();
    void SendMouse(const std::string &type, int x, int y, int clicks);

    TempTree mProfile;
    pid_t mProcess = -1;
    int mToBrowser = -1;
    int mFromBrowser = -1;
    int mLastCall = 0;
    std::string mSession; ///< of the page, once there is one
    std::string mUnread;  ///< bytes that came behind the last message
};
} // namespace Keld::Test
