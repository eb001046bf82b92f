#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <QFile>
#include <QHostAddress>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QTcpServer>
#include <QTcpSocket>

#include "support/Certificates.h"

/// An HTTP server on loopback in the test's own event loop, that says what it was told to, byte for
/// byte, and closes. A path that it knows nothing of gets no answer and no end.
class FeedServer {
  public:
    explicit FeedServer(const TLSIdentity* identity = nullptr) {
        if (identity) {
            auto server = std::make_unique<QSslServer>();
            QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
            tls.setLocalCertificateChain(
                QSslCertificate::fromPath(QString::fromStdString(identity->certificate.string())));
            QFile key(QString::fromStdString(identity->key.string()));
            if (key.open(QIODevice::ReadOnly))
                tls.setPrivateKey(QSslKey(&key, QSsl::Ec));
            server->setSslConfiguration(tls);
            m_server = std::move(server);
        } else {
            m_server = std::make_unique<QTcpServer>();
        }
        m_origin = identity ? "https" : "http";
        QObject::connect(m_server.get(), &QTcpServer::pendingConnectionAvailable, m_server.get(),
                         [this] {
                             while (QTcpSocket* socket = m_server->nextPendingConnection())
                                 serve(socket);
                         });
        m_server->listen(QHostAddress::LocalHost);
        m_origin += "://127.0.0.1:" + std::to_string(m_server->serverPort());
    }

    [[nodiscard]] std::string url(std::string_view path) const {
        return m_origin + std::string(path);
    }
    static std::string reply(const std::string& fields, const std::string& body,
                             const std::string& status = "200 OK") {
        return "HTTP/1.1 " + status + "\r\n" + fields + "\r\n\r\n" + body;
    }
    /// With its true length.
    static std::string whole(const std::string& body) {
        return reply("Content-Length: " + std::to_string(body.size()), body);
    }
    static std::string redirect(const std::string& target) {
        return reply("Content-Length: 0\r\nLocation: " + target, "", "302 Found");
    }

    /// One more byte for everybody whose answer has not ended.
    void drip() {
        for (QTcpSocket* socket : m_server->findChildren<QTcpSocket*>())
            socket->write("<");
    }

    std::map<std::string, std::string> replies; ///< raw, by path
    bool keepsOpen = false;                     ///< does not close behind an answer
    std::vector<std::string> requests;          ///< heads

  private:
    void serve(QTcpSocket* socket) {
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
            const std::string head = socket->peek(socket->bytesAvailable()).toStdString();
            if (!head.ends_with("\r\n\r\n"))
                return;
            socket->readAll();
            requests.push_back(head);
            const std::size_t start = head.find(' ') + 1;
            const auto reply = replies.find(head.substr(start, head.find(' ', start) - start));
            if (reply == replies.end())
                return;
            socket->write(QByteArray::fromStdString(reply->second));
            if (!keepsOpen)
                socket->disconnectFromHost();
        });
    }

    std::unique_ptr<QTcpServer> m_server;
    std::string m_origin;
};
