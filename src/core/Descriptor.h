#pragma once

#include <utility>

#include <unistd.h>

/// Owns one open descriptor of the system and closes it.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            reset();
            m_number = std::exchange(other.m_number, -1);
        }
        return *this;
    }
    ~Descriptor() { reset(); }

    [[nodiscard]] bool isValid() const { return m_number >= 0; }
    /// -1 when there is none.
    [[nodiscard]] int number() const { return m_number; }

    /// Leaves the closing to the caller.
    [[nodiscard]] int release() { return std::exchange(m_number, -1); }

    void reset() {
        if (isValid())
            ::close(release());
    }

    /// Closes and says whether that went well: network file systems report a failed write here.
    /// There must be one; afterwards there is none, either way.
    [[nodiscard]] bool close() { return ::close(release()) == 0; }

  private:
    int m_number = -1;
};
