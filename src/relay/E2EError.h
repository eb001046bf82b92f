#pragma once

#include <exception>

/// Why an incoming sealed message is refused, when it is not the cipher that refuses it.
class E2EError final : public std::exception {
  public:
    enum class Reason {
        badFrame, ///< not the texts, or not the message, that a sealed message consists of
        badKey,
        badProof,
        stale,   ///< made too long ago, or too far ahead
        replayed ///< opened before
    };

    explicit E2EError(Reason reason) : m_reason(reason) {}

    [[nodiscard]] Reason reason() const { return m_reason; }
    /// The reason's name.
    [[nodiscard]] const char* what() const noexcept override {
        switch (m_reason) {
        case Reason::badFrame:
            return "badFrame";
        case Reason::badKey:
            return "badKey";
        case Reason::badProof:
            return "badProof";
        case Reason::stale:
            return "stale";
        case Reason::replayed:
            return "replayed";
        }
        return "";
    }

  private:
    Reason m_reason;
};
