// The least that a WebSocket server of the same library can be: every message goes back.

#include <cstdlib>
#include <memory>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
using asio::ip::tcp;
using boost::system::error_code;

class Echo : public std::enable_shared_from_this<Echo> {
  public:
    explicit Echo(tcp::socket socket) : m_stream(std::move(socket)) {
        m_stream.next_layer().set_option(tcp::no_delay(true));
        m_stream.auto_fragment(false);
        m_stream.text(true);
    }

    void start() {
        m_stream.async_accept([self = shared_from_this()](error_code error) {
            if (!error)
                self->read();
        });
    }

  private:
    void read() {
        m_stream.async_read(m_buffer, [self = shared_from_this()](error_code error, std::size_t) {
            if (!error)
                self->write();
        });
    }

    void write() {
        m_stream.async_write(m_buffer.data(),
                             [self = shared_from_this()](error_code error, std::size_t) {
                                 if (error)
                                     return;
                                 self->m_buffer.consume(self->m_buffer.size());
                                 self->read();
                             });
    }

    beast::websocket::stream<tcp::socket, false> m_stream;
    beast::flat_buffer m_buffer;
};

void accept(tcp::acceptor& acceptor) {
    acceptor.async_accept([&acceptor](error_code error, tcp::socket socket) {
        if (!error)
            std::make_shared<Echo>(std::move(socket))->start();
        accept(acceptor);
    });
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2)
        return 2;
    asio::io_context context{1};
    const auto port = static_cast<std::uint16_t>(std::strtoul(argv[1], nullptr, 10));
    tcp::acceptor acceptor(context, {asio::ip::address_v4::loopback(), port});
    accept(acceptor);
    context.run();
}
