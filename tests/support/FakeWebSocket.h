#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/WebSocketTask.h"

/// The sockets that somebody opens, moved by the test's hand.
class FakeWebSockets {
  public:
    struct Socket {
        std::string url;
        WebSocketTask::Handlers handlers;
        std::vector<std::string> sent;
        std::size_t unsent = 0;
        std::size_t unsentPerFrame = 0; ///< by which each frame makes it more
        bool isResumed = false;
        int closeCode = 0;
        bool isAlive = true; ///< its owner still has it
    };

    [[nodiscard]] WebSocketOpener opener() {
        return [this](const std::string& url, WebSocketTask::Handlers handlers) {
            m_sockets.push_back(std::make_shared<Socket>());
            m_sockets.back()->url = url;
            m_sockets.back()->handlers = std::move(handlers);
            return std::make_unique<Task>(m_sockets.back());
        };
    }

    [[nodiscard]] std::size_t count() const { return m_sockets.size(); }
    [[nodiscard]] Socket& last() { return *m_sockets.back(); }
    [[nodiscard]] Socket& operator[](std::size_t index) { return *m_sockets[index]; }

    /// What the peer of the last socket would do. The owner may end the socket meanwhile.
    void open() { std::shared_ptr(m_sockets.back())->handlers.opened(); }
    void receive(const std::string& text) {
        std::shared_ptr(m_sockets.back())->handlers.text(text);
    }
    void fail(const WebSocketTask::Failure& failure = {}) {
        std::shared_ptr(m_sockets.back())->handlers.failed(failure);
    }

    /// What was sent over the last socket since this was last asked.
    std::vector<std::string> takeSent() { return std::exchange(last().sent, {}); }

  private:
    class Task final : public WebSocketTask {
      public:
        explicit Task(std::shared_ptr<Socket> socket) : m_socket(std::move(socket)) {}
        ~Task() override { m_socket->isAlive = false; }
        void resume() override { m_socket->isResumed = true; }
        void send(std::string_view text) override {
            m_socket->sent.emplace_back(text);
            m_socket->unsent += m_socket->unsentPerFrame;
        }
        [[nodiscard]] std::size_t unsentBytes() const override { return m_socket->unsent; }
        void cancel(int closeCode) override { m_socket->closeCode = closeCode; }

      private:
        std::shared_ptr<Socket> m_socket;
    };

    std::vector<std::shared_ptr<Socket>> m_sockets;
};
