#include "Tools/Browser.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
using nlohmann::json;

constexpr int LongestWait = 120'000; // ms: a browser starts slowly where much else goes on
constexpr int Width = 1000;
constexpr int Height = 700;

// The descriptors at which the browser reads and writes.
constexpr int BrowserReads = 3;
constexpr int BrowserWrites = 4;

/// Both ends above those that the browser uses.
void MakePipe(int (&ends)[2])
{
    int low[2];
    if (pipe2(low, O_CLOEXEC) != 0)
    {
        throw std::runtime_error("no pipe");
    }
    for (int index = 0; index < 2; ++index)
    {
        ends[index] = fcntl(low[index], F_DUPFD_CLOEXEC, BrowserWrites + 1);
        close(low[index]);
    }
}

[[noreturn]] void BecomeBrowser(int reads, int writes, const std::string &profile)
{
    const int log = open((profile + "/log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    dup2(reads, BrowserReads);
    dup2(writes, BrowserWrites);
    const std::string data = "--user-data-dir=" + profile + "/data";
    execlp("chromium", "chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
           "--no-first-run", "--disable-quic", "--disable-sync", "--disable-background-networking",
           "--disable-component-update", "--remote-debugging-pipe", data.c_str(), "about:blank",
           static_cast<char *>(nullptr));
    _exit(127);
}
} // namespace

Browser::Browser()
{
    int toBrowser[2];
    int fromBrowser[2];
    MakePipe(toBrowser);
    MakePipe(fromBrowser);
    mProcess = fork();
    if (mProcess == 0)
    {
        setpgid(0, 0);
        BecomeBrowser(toBrowser[0], fromBrowser[1], mProfile.Root());
    }
    close(toBrowser[0]);
    close(fromBrowser[1]);
    mToBrowser = toBrowser[1];
    mFromBrowser = fromBrowser[0];
    const json target = Call("Target.createTarget", {{"url", "about:blank"}});
    const json attached = Call("Target.attachToTarget", {{"targetId", target.at("targetId")}, {"flatten", true}});
    mSession = attached.at("sessionId");
    Call("Page.enable", json::object());
    Call("Emulation.setDeviceMetricsOverride",
         {{"width", Width}, {"height", Height}, {"deviceScaleFactor", 1}, {"mobile", false}});
}

Browser::~Browser()
{
    close(mToBrowser);
    close(mFromBrowser);
    kill(-mProcess, SIGKILL); // it and the helpers that it started
    waitpid(mProcess, nullptr, 0);
}

json Browser::ReadMessage()
{
    for (;;)
    {
        const std::size_t end = mUnread.find('\0');
        if (end != std::string::npos)
        {
            const json message = json::parse(mUnread.substr(0, end));
            mUnread.erase(0, end + 1);
            return message;
        }
        pollfd waiting{mFromBrowser, POLLIN, 0};
        char buffer[65536];
        const bool isReady = poll(&waiting, 1, LongestWait) > 0;
        const ssize_t size = isReady ? read(mFromBrowser, buffer, sizeof buffer) : 0;
        if (size <= 0)
        {
            throw std::runtime_error("the browser does not answer: " + mProfile.Read("log"));
        }
        mUnread.append(buffer, static_cast<std::size_t>(size));
    }
}

/// Events that come meanwhile are of no interest.
json Browser::Call(const std::string &method, const json &parameters)
{
    json message = {{"id", ++mLastCall}, {"method", method}, {"params", parameters}};
    if (!mSession.empty())
    {
        message["sessionId"] = mSession;
    }
    const std::string text = message.dump();
    if (write(mToBrowser, text.c_str(), text.size() + 1) != static_cast<ssize_t>(text.size() + 1))
    {
        throw std::runtime_error("the browser takes no calls");
    }
    for (;;)
    {
        const json answer = ReadMessage();
        if (answer.value("id", 0) != mLastCall)
        {
            continue;
        }
        if (answer.contains("error"))
        {
            throw std::runtime_error(method + ": " + answer["error"].dump());
        }
        return answer.at("result");
    }
}

void Browser::Open(const std::string &path)
{
    Call("Page.navigate", {{"url", "file://" + path}});
    const std::string loaded = "document.readyState === 'complete' && location.protocol === 'file:'";
    if (!Becomes(loaded))
    {
        throw std::runtime_error(path + " does not load");
    }
}

json Browser::Evaluate(const std::string &expression)
{
    const json result = Call("Runtime.evaluate", {{"expression", expression}, {"returnByValue", true}});
    if (result.contains("exceptionDetails"))
    {
        throw std::runtime_error(expression + ": " + result["exceptionDetails"].dump());
    }
    return result.at("result").value("value", json());
}

bool Browser::Becomes(const std::string &expression)
{
    constexpr std::chrono::milliseconds pause(20);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(LongestWait);
    while (Evaluate(expression) != true)
    {
        if (std::chrono::steady_clock::now() > end)
        {
            return false;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

void Browser::SendMouse(const std::string &type, int x, int y, int clicks)
{
    const char *button = clicks > 0 ? "left" : "none";
    Call("Input.dispatchMouseEvent", {{"type", type}, {"x", x}, {"y", y}, {"button", button}, {"clickCount", clicks}});
}

void Browser::MoveTo(int x, int y)
{
    SendMouse("mouseMoved", x, y, 0);
}

void Browser::Click(int x, int y)
{
    MoveTo(x, y);
    SendMouse("mousePressed", x, y, 1);
    SendMouse("mouseReleased", x, y, 1);
}

void Browser::Press(const std::string &key, int code)
{
    for (const char *type : {"rawKeyDown", "keyUp"})
    {
        Call("Input.dispatchKeyEvent", {{"type", type}, {"key", key}, {"code", key}, {"windowsVirtualKeyCode", code}});
    }
}

void Browser::PreferScheme(const std::string &scheme)
{
    const json feature = {{"name", "prefers-color-scheme"}, {"value", scheme}};
    Call("Emulation.setEmulatedMedia", {{"features", json::array({feature})}});
}
} // namespace Keld::Test
