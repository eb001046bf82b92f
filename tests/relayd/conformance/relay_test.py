#!/usr/bin/env python3
"""Whether a relay does what docs/relay-protocol.md says, and bears what it must.

    relay_test.py RELAY [unittest arguments]
"""

import asyncio
import json
import os
import signal
import sys
import tempfile
import unittest

import websockets

import relay as support
from relay import (Computer, Peer, Relay, PATIENCE, b64, device_key, hash_text, hmac_text, name, parsed, phone,
                   raw, refusal, seal, unb64, unseal)
from cryptography.hazmat.primitives.asymmetric.x25519 import X25519PrivateKey

SEALED = {"n": "N", "c": "C"}


class RelayCase(unittest.IsolatedAsyncioTestCase):
    options = ()

    def setUp(self):
        self.relay = Relay(*self.options)
        self.addCleanup(self.relay.stop)

    async def pair_as(self, computer, secret, device):
        token = hmac_text(secret, "tamsell invite v2")
        return await Peer.join(self.relay, computer.channel, f"role=pair&device={device}&invite={token}")


class Conversation(RelayCase):
    async def test_the_first_token_is_the_channels(self):
        mac = await Computer.connect(self.relay)
        query = "role=mac&auth=other"
        self.assertEqual(await refusal(Peer.join(self.relay, mac.channel, query)), 401)
        newer = await Computer.connect(self.relay, mac.channel, mac.token)
        self.assertEqual(await mac.closed(), 4001)
        self.assertEqual(await newer.settled(), [])

    async def test_pairing_and_a_question(self):
        mac = await Computer.connect(self.relay)
        secret = await mac.invite()
        device, key = name(), X25519PrivateKey.generate()
        asking = await self.pair_as(mac, secret, device)
        self.assertEqual(await asking.hear(), {"t": "computer", "connected": True})
        public = b64(raw(key))
        request = {"t": "pair", "device": device, "invite": hash_text(hmac_text(secret, "tamsell invite v2")),
                   "pub": public, "proof": hmac_text(secret, f"tamsell pair v2|{device}|{public}|Pixel"),
                   "name": "Pixel"}
        await asking.say(**request)
        heard = await mac.hear("pair")
        self.assertEqual(heard, request)
        shared = mac.derive(secret, device, unb64(heard["pub"]))
        admission = hmac_text(shared, "tamsell relay auth v2")
        await mac.say(t="addDevice", device=device, auth=hash_text(admission), invite=request["invite"])
        await asking.hear("paired")
        self.assertEqual(await refusal(self.pair_as(mac, secret, name())), 401)  # It is used up.

        own = device_key(key, mac.public(), secret, mac.channel, device)
        me = await phone(self.relay, mac, device, hmac_text(own, "tamsell relay auth v2"))
        self.assertEqual(await mac.hear("peers"), {"t": "peers", "phones": [device]})
        question = {"type": "notify", "target": "t", "id": "q", "ts": 1}
        await mac.say(t="notify", items=[{"to": device, **seal(shared, mac.channel, device, "m2p", question)}])
        self.assertEqual(unseal(own, mac.channel, device, "m2p", await me.hear("notify")), question)
        self.assertEqual(await mac.hear("pushed"), {"t": "pushed", "ok": 1, "devices": 1, "errors": []})
        answer = {"type": "answer", "target": "t", "action": "allow", "id": "a", "ts": 2}
        await me.say(t="msg", **seal(own, mac.channel, device, "p2m", answer))
        heard = await mac.hear("msg")
        self.assertEqual(heard["from"], device)
        self.assertEqual(unseal(shared, mac.channel, device, "p2m", heard), answer)

    async def test_what_a_pairing_phone_may_not(self):
        mac = await Computer.connect(self.relay)
        self.assertEqual(await refusal(self.pair_as(mac, b"unknown", name())), 401)
        self.assertEqual(await refusal(self.pair_as(mac, await mac.invite(expires=1e12), name())), 401)
        secret, device = await mac.invite(), name()
        request = {"t": "pair", "device": device, "invite": hash_text(hmac_text(secret, "tamsell invite v2"))}
        asking = await self.pair_as(mac, secret, device)
        await asking.say(**{**request, "device": name()})
        await asking.hear("error")
        await asking.say(t="msg", **SEALED)
        await asking.say(**request, name="x" * 5000)
        await asking.hear("error")
        self.assertEqual(await mac.settled(), [])
        await asking.say(**request)
        await mac.hear("pair")
        await asking.say(**request)
        self.assertEqual(await asking.closed(), 1008)
        self.assertEqual(await mac.settled(), [])

    async def test_phones_hear_what_is_for_them_and_of_the_computer(self):
        mac = await Computer.connect(self.relay)
        a, b = await mac.add(), await mac.add()
        first, second = await phone(self.relay, mac, a), await phone(self.relay, mac, a)
        other = await phone(self.relay, mac, b)
        self.assertEqual((await mac.settled())[-1], {"t": "peers", "phones": sorted([a, b])})
        await mac.say(t="msg", to=a, **SEALED)
        for each in (first, second):
            self.assertEqual(await each.hear(), {"t": "msg", **SEALED})
        items = [{"to": a, "n": "1", "c": "2"}, {"to": b, "n": "3", "c": "4"}, {"to": name(), "n": "5", "c": "6"}]
        await mac.say(t="clear", items=items)
        self.assertEqual(await other.hear(), {"t": "clear", "n": "3", "c": "4"})
        self.assertEqual(await mac.settled(), [])
        await mac.leave()
        self.assertEqual(await other.hear(), {"t": "computer", "connected": False})
        await other.say(t="msg", **SEALED)
        self.assertEqual((await other.hear())["t"], "error")
        await Computer.connect(self.relay, mac.channel, mac.token)
        self.assertEqual(await other.hear(), {"t": "computer", "connected": True})

    async def test_removed_phones_are_out(self):
        mac = await Computer.connect(self.relay)
        a, b, c = [await mac.add() for _ in range(3)]
        phones = [await phone(self.relay, mac, each) for each in (a, b, c)]
        await mac.settled()
        await mac.say(t="sync", devices=[a, b])
        self.assertEqual(await phones[2].closed(), 4003)
        await mac.say(t="removeDevice", device=b)
        self.assertEqual(await phones[1].closed(), 4003)
        self.assertEqual((await mac.settled())[-1], {"t": "peers", "phones": [a]})
        for device in (b, c):
            self.assertEqual(await refusal(phone(self.relay, mac, device)), 401)
        self.assertEqual(await refusal(phone(self.relay, mac, a, "wrong")), 401)

    async def test_what_is_no_frame_is_ignored(self):
        mac = await Computer.connect(self.relay)
        peer = await phone(self.relay, mac, await mac.add())
        await mac.settled()
        for each in (mac, peer):
            for text in ("", "{", "[]", "7", "{}", '{"t":3}', '{"t":"unknown"}', '{"t":"msg"', b"\x00binary"):
                await each.socket.send(text)
            self.assertEqual(await each.settled(), [])
        frame = json.dumps({"t": "msg", **SEALED})
        await peer.socket.send(iter([frame[:5], frame[5:6], frame[6:]]))  # In fragments.
        self.assertEqual((await mac.hear("msg"))["c"], "C")

    async def test_a_restart_forgets_nobody(self):
        mac = await Computer.connect(self.relay)
        device, gone = await mac.add(), await mac.add()
        await mac.say(t="removeDevice", device=gone)
        await mac.settled()
        self.relay.kill()
        self.relay.start()
        self.assertEqual(await refusal(Peer.join(self.relay, mac.channel, "role=mac&auth=other")), 401)
        mac = await Computer.connect(self.relay, mac.channel, mac.token)
        await phone(self.relay, mac, device)
        self.assertEqual(await refusal(phone(self.relay, mac, gone)), 401)

    async def test_kill_under_load_loses_no_phone_that_was_confirmed(self):
        macs = [await Computer.connect(self.relay) for _ in range(5)]
        confirmed = []

        async def add_on(mac):
            try:
                while len(confirmed) < 60:
                    confirmed.append((mac, await mac.add()))
            except (websockets.ConnectionClosed, ConnectionError):
                pass

        adding = [asyncio.create_task(add_on(mac)) for mac in macs]
        while len(confirmed) < 30:
            await asyncio.sleep(0.001)
        self.relay.kill()
        await asyncio.gather(*adding)
        self.relay.start()
        for mac, device in confirmed:
            peer = await phone(self.relay, mac, device)
            await peer.leave()

    async def test_going_well_is_said(self):
        mac = await Computer.connect(self.relay)
        peer = await phone(self.relay, mac, await mac.add())
        self.relay.process.send_signal(signal.SIGTERM)
        self.assertEqual([await mac.closed(), await peer.closed()], [1001, 1001])
        self.assertEqual(self.relay.wait(), 0)
        self.relay.start()


class Posting(RelayCase):
    async def post(self, mac, device, body, token="T"):
        return await self.relay.http("POST", f"/api/{mac.channel}/{device}/messages", body,
                                     [f"Authorization: Bearer {token}"])

    async def test_an_answer_without_a_connection(self):
        mac = await Computer.connect(self.relay)
        device = await mac.add()
        body = json.dumps(SEALED).encode()
        reader, writer = await asyncio.open_connection("127.0.0.1", self.relay.port)
        writer.write((f"POST /api/{mac.channel}/{device}/messages HTTP/1.1\r\nHost: relay\r\n"
                      f"Authorization: Bearer T\r\nContent-Length: {len(body)}\r\n\r\n").encode() + body)
        self.assertEqual(await mac.hear(), {"t": "peers", "phones": [device]})
        self.assertEqual(await mac.hear(), {"t": "msg", "from": device, **SEALED})
        await mac.say(t="msg", to=device, n="result", c="C")
        received = b""
        while b'"result"' not in received:
            received += await asyncio.wait_for(reader.read(4096), PATIENCE)
        status, fields, _ = parsed(received)
        self.assertEqual((status, fields["content-type"]), (200, "application/x-ndjson"))
        writer.close()
        self.assertEqual(await mac.hear(), {"t": "peers", "phones": []})
        # One that stays has all of it, and an end.
        posted = asyncio.create_task(self.post(mac, device, body))
        await mac.hear("msg")
        await mac.say(t="notify", items=[{"to": device, **SEALED}])
        _, _, whole = await posted
        self.assertTrue(whole.endswith(b"0\r\n\r\n"), whole)
        self.assertIn(b'{"t":"notify","n":"N","c":"C"}\n', whole)

    async def test_refusals(self):
        mac = await Computer.connect(self.relay)
        device, body = await mac.add(), json.dumps(SEALED).encode()
        self.assertEqual((await self.post(mac, device, body, "wrong"))[0], 401)
        self.assertEqual((await self.post(mac, name(), body))[0], 401)
        for nothing in (b"", b"[]", b"{}", b'{"n":1,"c":"C"}'):
            self.assertEqual((await self.post(mac, device, nothing))[0], 400)
        self.assertEqual((await self.post(mac, device, b" " * 300_000))[0], 413)
        self.assertEqual((await self.relay.http("GET", f"/api/{mac.channel}/{device}/messages"))[0], 405)
        await mac.leave()
        status, _, answer = await self.post(mac, device, body)
        self.assertEqual((status, json.loads(answer)), (503, {"error": "the computer is not connected"}))


class Abuse(RelayCase):
    options = ("--trust-proxy", "127.0.0.1", "--max-connections", "200")

    async def test_frames_that_are_too_long_are_answered_and_nobody_is_lost(self):
        mac = await Computer.connect(self.relay)
        device = await mac.add()
        peer = await phone(self.relay, mac, device)
        await mac.settled()
        await peer.say(t="msg", n="N", c="C" * (256 * 1024))
        await peer.hear("error")
        await mac.say(t="msg", to=device, n="N", c="C" * (16 * 1024 * 1024))
        await mac.hear("error")
        largest = "C" * (16 * 1024 * 1024 - 100)
        await mac.say(t="msg", to=device, n="N", c=largest)
        self.assertEqual((await peer.hear("msg"))["c"], largest)
        await peer.say(t="msg", **SEALED)
        self.assertEqual((await mac.hear("msg"))["c"], "C")

    async def test_a_flood_is_slowed_and_kept_in_order(self):
        mac = await Computer.connect(self.relay)
        peer = await phone(self.relay, mac, await mac.add())
        for i in range(70):
            await peer.say(t="msg", n=str(i), c="C")
        start = asyncio.get_running_loop().time()
        for i in range(70):
            self.assertEqual((await mac.hear("msg"))["n"], str(i))
        self.assertGreater(asyncio.get_running_loop().time() - start, 1)

    async def test_a_slow_reader_hurts_nobody_else(self):
        mac = await Computer.connect(self.relay)
        slow, quick = await mac.add(), await mac.add()
        reader, writer = await asyncio.open_connection("127.0.0.1", self.relay.port, limit=1024)
        writer.write((f"GET /ws/{mac.channel}?role=phone&device={slow}&auth=T HTTP/1.1\r\nHost: relay\r\n"
                      "Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                      "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n").encode())
        await reader.readuntil(b"\r\n\r\n")
        peer = await phone(self.relay, mac, quick)
        for i in range(8):
            await mac.say(t="msg", to=slow, n="N", c="C" * (8 * 1024 * 1024))
            await mac.say(t="msg", to=quick, n=str(i), c="C")
            self.assertEqual((await peer.hear("msg"))["n"], str(i))
        while (await mac.hear("peers"))["phones"] != [quick]:
            pass
        writer.close()

    async def test_addresses_that_are_refused_too_often(self):
        mac = await Computer.connect(self.relay)
        wrong = f"role=mac&auth=wrong"
        guesser, other = [("X-Forwarded-For", "203.0.113.7")], [("X-Forwarded-For", "203.0.113.8")]
        statuses = [await refusal(Peer.join(self.relay, mac.channel, wrong, guesser)) for _ in range(70)]
        self.assertEqual((statuses[0], statuses[-1]), (401, 429))
        self.assertEqual(await refusal(Peer.join(self.relay, mac.channel, wrong, other)), 401)
        registering = [await refusal(Computer.connect(self.relay, headers=other)) for _ in range(22)]
        self.assertEqual((registering[0], registering[-1]), (101, 429))

    async def test_a_channel_has_bounds(self):
        mac = await Computer.connect(self.relay)
        for _ in range(64):
            await mac.add()
        await mac.say(t="addDevice", device=name(), auth=hash_text("T"), invite="")
        await mac.hear("error")
        for _ in range(16):
            await mac.invite()
        await mac.say(t="invite", hash=hash_text("one more"), expires=2e12)
        await mac.hear("error")

    async def test_connections_have_bounds(self):
        idle = [await asyncio.open_connection("127.0.0.1", self.relay.port) for _ in range(200)]
        reader, writer = await asyncio.open_connection("127.0.0.1", self.relay.port)
        self.assertEqual(await asyncio.wait_for(reader.read(), PATIENCE), b"")
        # Those that say nothing make room before long.
        for each in idle:
            self.assertEqual(await asyncio.wait_for(each[0].read(), PATIENCE), b"")
            each[1].close()
        writer.close()
        self.assertEqual((await self.relay.http("GET", "/healthz"))[0], 200)

    async def test_bad_requests(self):
        for target in ("/ws/short?role=mac&auth=T", f"/ws/{name()}?role=cat&auth=T", f"/ws/{name()}"):
            self.assertEqual((await self.relay.http("GET", target))[0], 400)
        self.assertEqual((await self.relay.http("GET", "/" + "a" * 20000))[0], 431)
        self.assertEqual((await self.relay.http("BREW", "/"))[0], 405)
        forwarded = ["X-Forwarded-For: 198.51.100.1"]
        self.assertEqual((await self.relay.http("GET", "/metrics", headers=forwarded))[0], 404)
        self.assertIn(b"tamsell_relay_connections", (await self.relay.http("GET", "/metrics"))[2])

    def test_one_database_for_one_relay(self):
        second = support.subprocess.run([support.BINARY, "--listen", "127.0.0.1:0", "--database",
                                         self.relay.database], capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual(second.returncode, 1)
        self.assertIn("in use", second.stderr)


class Page(unittest.IsolatedAsyncioTestCase):
    async def test_files_and_their_headers(self):
        with tempfile.TemporaryDirectory() as folder:
            for path, text in (("page/index.html", "<p>hello"), ("page/assets/x-1.js", "1"), ("page/.git", "no"),
                               ("secret", "no")):
                os.makedirs(os.path.dirname(os.path.join(folder, path)), exist_ok=True)
                with open(os.path.join(folder, path), "w", encoding="utf-8") as file:
                    file.write(text)
            relay = Relay("--page", os.path.join(folder, "page"))
            self.addCleanup(relay.stop)
            status, fields, body = await relay.http("GET", "/?x")
            self.assertEqual((status, body), (200, b"<p>hello"))
            self.assertIn("default-src 'none'", fields["content-security-policy"])
            self.assertEqual(fields["x-content-type-options"], "nosniff")
            self.assertEqual(fields["referrer-policy"], "no-referrer")
            again = await relay.http("GET", "/index.html", headers=[f"If-None-Match: {fields['etag']}"])
            self.assertEqual((again[0], again[2]), (304, b""))
            self.assertIn("immutable", (await relay.http("GET", "/assets/x-1.js"))[1]["cache-control"])
            head = await relay.http("HEAD", "/")
            self.assertEqual((head[0], head[1]["content-length"], head[2]), (200, "8", b""))
            for path in ("/../secret", "/%2e%2e/secret", "/assets/../../secret", "//secret", "/.git", "/none"):
                self.assertEqual((await relay.http("GET", path))[0], 404)


if __name__ == "__main__":
    support.BINARY = sys.argv.pop(1)
    unittest.main(verbosity=2)
