#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/Process.h"
#include "support/TemporaryDirectory.h"

/// A desktop of a test's own, made of programs that people have: a session bus (dbus-daemon), an X
/// server (Xvfb), a window manager (openbox), and a bar at the top of the screen that shows status
/// icons (xfce4-panel). Its programs see nothing of whoever runs the tests, and end with the test
/// however that ends.
class Desktop {
  public:
    /// A rectangle of the screen, in pixels.
    struct Rectangle {
        int left = 0;
        int top = 0;
        int width = 0;
        int height = 0;
    };
    /// How high the bar is, its line included.
    static constexpr int bar = 33;
    /// Where the bar shows its only icon.
    static constexpr Rectangle icon{0, 0, 32, 32};

    /// The bus alone; `DISPLAY` names a display that is still to come.
    /// @throws std::runtime_error when a program does not come up, as everything here does
    Desktop();
    ~Desktop();
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    /// Returns when windows are managed.
    void startDisplay();
    /// Returns when icons can register.
    void startTray();
    void endTray();

    /// @param command a program in PATH or by its path, and its arguments
    /// @param variables "NAME=value" each, beside those of the desktop
    [[nodiscard]] std::unique_ptr<Process> start(const std::vector<std::string>& command,
                                                 const std::vector<std::string>& variables = {},
                                                 std::string_view input = {}) const;

    /// The number that the X server gave the window of exactly this title; empty while none shows.
    [[nodiscard]] std::string window(std::string_view title) const;
    [[nodiscard]] bool shows(std::string_view title) const { return !window(title).empty(); }
    [[nodiscard]] bool willShow(std::string_view title) const;
    [[nodiscard]] bool willHide(std::string_view title) const;
    /// Without the frame. All zero when there is no such window.
    [[nodiscard]] Rectangle geometry(std::string_view title) const;

    /// What a person sees there: four bytes a pixel.
    [[nodiscard]] std::vector<std::uint8_t> picture(const Rectangle& part) const;
    /// To the lower right corner: the bar draws what is under it in another way.
    void parkPointer() const;
    /// Whether the bar comes to show an icon. Parks the pointer.
    [[nodiscard]] bool willShowIcon() const;
    [[nodiscard]] bool willLoseIcon() const;

    /// @param button as X counts them: 1 is the left one, 3 the right one
    void click(const Rectangle& middleOf, int button = 1) const;
    void doubleClick(const Rectangle& middleOf) const;
    /// @param key as X names it: "Return", "Escape"
    void press(std::string_view key) const;

  private:
    void moveTo(const Rectangle& middleOf) const;
    /// The standard output of a program that ends by itself.
    std::string outputOf(const std::vector<std::string>& command) const;
    [[nodiscard]] bool hasIcon() const;

    TemporaryDirectory m_home;
    std::string m_display;
    std::string m_busAddress;
    // In the order in which they start.
    std::unique_ptr<Process> m_bus;
    std::unique_ptr<Process> m_server;
    std::unique_ptr<Process> m_windowManager;
    std::unique_ptr<Process> m_tray;
};
