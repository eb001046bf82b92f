#pragma once

#include <chrono>
#include <cstddef>

/// What the relay bears, each with its reason. Sizes are in bytes.
namespace limits {

using namespace std::chrono_literals;

// Frames.

/// From a computer: what it sends of its state at most, sealed for one phone.
inline constexpr std::size_t computerFrame = std::size_t{16} * 1024 * 1024;
/// From a phone: an answer with a long instruction is some kilobytes. The computer ends its
/// connection over a frame of more than a mebibyte.
inline constexpr std::size_t phoneFrame = std::size_t{256} * 1024;
/// From a phone that is not paired yet: one "pair" message has five short texts.
inline constexpr std::size_t pairingFrame = std::size_t{4} * 1024;
/// Of a frame that is too long so much is read and thrown away to keep the connection.
inline constexpr std::size_t discarded = std::size_t{64} * 1024 * 1024;
/// JSON values in one frame: "items" has four for a phone.
inline constexpr std::size_t frameValues = 4000;

/// Of frames that have come in part, of all together; beyond that, whoever sends a long one is
/// closed. Anybody may be a computer, and begin a frame of 16 MiB.
inline constexpr std::size_t receivedInPart = std::size_t{512} * 1024 * 1024;
/// Whatever all together hold, one frame of so much is borne from and to everybody: nobody is
/// closed for what others have sent or left.
inline constexpr std::size_t alwaysBorne = std::size_t{64} * 1024;

// Channels.

/// A household has a few phones; each costs a row and a place in every "sync".
inline constexpr std::size_t devicesPerChannel = 64;
/// One is shown at a time; each lives ten minutes.
inline constexpr std::size_t invitesPerChannel = 16;
/// Sockets and requests of one phone at a time: pages and a service worker, and what a network has
/// left behind half open.
inline constexpr std::size_t listenersPerDevice = 8;

// Addresses (of IPv6 the /64 network, which one subscriber has).

/// Channels that an address registers at once, and how long until it may register one more: people
/// behind one address set up a computer each, and nobody fills the disk.
inline constexpr double newChannels = 20;
inline constexpr auto newChannelEvery = 5min;
/// Refused handshakes of an address at once, and how long until it has one more: a removed phone
/// asks every 30 seconds. Beyond that it is told to wait, and registers nothing; who is admitted
/// gets in all the same, because a network has one address for many people.
inline constexpr double refusals = 60;
inline constexpr auto refusalEvery = 10s;
/// Addresses that are remembered for that: some megabytes.
inline constexpr std::size_t addresses = 50'000;

// Messages. Who sends more is read more slowly; nothing is lost.

/// A person answers; a page asks for the state now and then.
inline constexpr double phoneMessages = 40;
inline constexpr double phoneMessagesPerSecond = 10;
/// Ten states a second for each of a few phones.
inline constexpr double computerMessages = 2000;
inline constexpr double computerMessagesPerSecond = 1000;

// Slow readers.

/// Unsent to a phone: the largest state and as much again. It comes back and gets the newest.
inline constexpr std::size_t unsentToPhone = std::size_t{32} * 1024 * 1024;
/// Unsent to a computer: many answers of phones, which are small.
inline constexpr std::size_t unsentToComputer = std::size_t{8} * 1024 * 1024;
/// Unsent to all together; beyond that whoever has left something and is sent more is closed.
inline constexpr std::size_t unsentToAll = std::size_t{512} * 1024 * 1024;

// Connections.

/// Of a request: a browser sends about a kilobyte, and a proxy adds to it.
inline constexpr std::size_t header = std::size_t{16} * 1024;
/// Until the header has come, and then the body.
inline constexpr auto request = 10s;
/// Until an answer has been taken.
inline constexpr auto reply = 30s;
/// How much of what nobody wants to know is read behind a last answer, and how long: closing over
/// it would reset the connection, and the peer might not see the answer (RFC 9112 section 9.6).
inline constexpr std::size_t unwanted = std::size_t{1} * 1024 * 1024;
inline constexpr auto unwantedFor = 2s;
/// A connection kept for another request.
inline constexpr auto keptAlive = 30s;
/// From the first byte of a message to its last.
inline constexpr auto message = 2min;
/// From queueing a frame until it has been taken.
inline constexpr auto delivery = 2min;
/// From the decision to close a connection until it is closed, with all that was sent before.
inline constexpr auto farewell = 30s;
/// How often WebSockets are looked after for the deadlines above.
inline constexpr auto look = 5s;
/// Without a byte from the peer; at half of it the peer is asked whether it is there (RFC 6455
/// section 5.5.2). Below what proxies and phone networks forget connections after.
inline constexpr auto silence = 100s;
/// A phone that pairs: as long as an invite lives.
inline constexpr auto pairing = 10min;
/// How long a posted message waits for what comes back.
inline constexpr auto postedMessage = 10s;
/// Until the last connection has been closed at the end.
inline constexpr auto drain = 5s;

} // namespace limits
