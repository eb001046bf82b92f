#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QWidget>

/// A window as a person may come to see it: for pictures, and for what holds in every one of them.
struct WindowState {
    std::string window;
    std::string name;
    /// Shows it, with its buttons armed. What it needs goes with it.
    std::function<std::shared_ptr<QWidget>()> show;
};

[[nodiscard]] std::vector<WindowState> windowStates();
