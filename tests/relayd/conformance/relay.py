"""A relay of its own for a test, and clients that know docs/relay-protocol.md and nothing else."""

import asyncio
import base64
import hashlib
import hmac
import json
import os
import re
import secrets
import subprocess
import tempfile

import websockets
from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.asymmetric.x25519 import X25519PrivateKey, X25519PublicKey
from cryptography.hazmat.primitives.ciphers.aead import AESGCM
from cryptography.hazmat.primitives.kdf.hkdf import HKDF
from cryptography.hazmat.primitives.serialization import Encoding, PublicFormat

BINARY = ""
PATIENCE = 30


def b64(data):
    return base64.urlsafe_b64encode(data).rstrip(b"=").decode()


def unb64(text):
    return base64.urlsafe_b64decode(text + "=" * (-len(text) % 4))


def hash_text(text):
    return b64(hashlib.sha256(text.encode()).digest())


def hmac_text(key, text):
    return b64(hmac.new(key, text.encode(), hashlib.sha256).digest())


def name():
    return b64(secrets.token_bytes(16))


class Relay:
    """The program, with its database in a directory that goes with it."""

    def __init__(self, *options):
        self.directory = tempfile.TemporaryDirectory()
        self.database = os.path.join(self.directory.name, "relay.db")
        self.options = options
        self.port = 0
        self.start()

    def start(self):
        self.process = subprocess.Popen(
            [BINARY, "--listen", f"127.0.0.1:{self.port}", "--database", self.database, *self.options],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        found = re.search(r"listening on 127\.0\.0\.1:(\d+)", line)
        assert found, line + self.process.stderr.read()
        self.port = int(found[1])

    def kill(self):
        self.process.kill()
        self.wait()

    def wait(self):
        code = self.process.wait(PATIENCE)
        self.process.stdout.close()
        self.process.stderr.close()
        return code

    def stop(self):
        if self.process.poll() is None:
            self.kill()
        self.directory.cleanup()

    async def http(self, method, target, body=b"", headers=()):
        """The status, the header fields and the whole body of a response."""
        reader, writer = await asyncio.open_connection("127.0.0.1", self.port)
        try:
            lines = [f"{method} {target} HTTP/1.1", "Host: relay", f"Content-Length: {len(body)}", *headers]
            writer.write("\r\n".join([*lines, "Connection: close", "", ""]).encode() + body)
            await writer.drain()
            return parsed(await asyncio.wait_for(reader.read(), PATIENCE))
        finally:
            writer.close()


def parsed(response):
    head, _, body = response.partition(b"\r\n\r\n")
    first, *lines = head.decode().split("\r\n")
    fields = dict((key.lower(), value.strip()) for key, _, value in (line.partition(":") for line in lines))
    return int(first.split()[1]), fields, body


class Peer:
    """One WebSocket: frames come in the order in which they were sent."""

    def __init__(self, socket):
        self.socket = socket

    @classmethod
    async def join(cls, relay, channel, query, headers=()):
        url = f"ws://127.0.0.1:{relay.port}/ws/{channel}?{query}"
        return cls(await websockets.connect(url, max_size=None, extra_headers=list(headers), compression=None,
                                            ping_interval=None, close_timeout=PATIENCE))

    async def say(self, **frame):
        await self.socket.send(json.dumps(frame))

    async def hear(self, kind=None):
        """The next frame, or the next of that kind."""
        while True:
            text = await asyncio.wait_for(self.socket.recv(), PATIENCE)
            frame = {"t": text} if text == "pong" else json.loads(text)
            if kind in (None, frame["t"]):
                return frame

    async def settled(self):
        """What has come until now: the relay answers a ping behind all that."""
        await self.socket.send("ping")
        heard = []
        while (frame := await self.hear())["t"] != "pong":
            heard.append(frame)
        return heard

    async def closed(self):
        """The code with which the relay ends the connection."""
        try:
            while True:
                await asyncio.wait_for(self.socket.recv(), PATIENCE)
        except websockets.ConnectionClosed:
            return self.socket.close_code

    async def leave(self):
        await self.socket.close()


class Computer(Peer):
    """The computer's side; its fields are what a settings file would hold."""

    @classmethod
    async def connect(cls, relay, channel=None, token=None, headers=()):
        channel, token = channel or name(), token or b64(secrets.token_bytes(32))
        self = await cls.join(relay, channel, f"role=mac&auth={token}", headers)
        self.channel, self.token, self.key = channel, token, X25519PrivateKey.generate()
        assert (await self.hear())["t"] == "peers"
        return self

    async def invite(self, expires=2e12):
        secret = secrets.token_bytes(32)
        await self.say(t="invite", hash=hash_text(hmac_text(secret, "tamsell invite v2")), expires=expires)
        await self.settled()
        return secret

    async def add(self, device=None, token="T"):
        device = device or name()
        await self.say(t="addDevice", device=device, auth=hash_text(token), invite="")
        assert await self.settled() == []
        return device

    def derive(self, secret, device, public):
        return device_key(self.key, public, secret, self.channel, device)

    def public(self):
        return raw(self.key)


def raw(key):
    return key.public_key().public_bytes(Encoding.Raw, PublicFormat.Raw)


def device_key(private, public, secret, channel, device):
    shared = private.exchange(X25519PublicKey.from_public_bytes(public))
    info = f"tamsell device v2|{channel}|{device}".encode()
    return HKDF(hashes.SHA256(), 32, secret, info).derive(shared)


async def phone(relay, computer, device, token="T", headers=()):
    peer = await Peer.join(relay, computer.channel, f"role=phone&device={device}&auth={token}", headers)
    assert (await peer.hear())["t"] == "computer"
    return peer


def seal(key, channel, device, direction, message):
    nonce = secrets.token_bytes(12)
    sealed = AESGCM(key).encrypt(nonce, json.dumps(message).encode(),
                                 f"tamsell2|{channel}|{device}|{direction}".encode())
    return {"n": b64(nonce), "c": b64(sealed)}


def unseal(key, channel, device, direction, frame):
    data = f"tamsell2|{channel}|{device}|{direction}".encode()
    return json.loads(AESGCM(key).decrypt(unb64(frame["n"]), unb64(frame["c"]), data))


async def refusal(attempt):
    """The HTTP status with which a handshake is refused."""
    try:
        peer = await attempt
    except websockets.InvalidStatusCode as failure:
        return failure.status_code
    await peer.leave()
    return 101
