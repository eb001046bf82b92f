#!/usr/bin/env python3
"""Whether everybody is back, and nobody forgotten, after a relay was killed while all were talking.

    restart_test.py RELAY [unittest arguments]
"""

import asyncio
import contextlib
import sys
import time
import unittest

import websockets

import relay as support
from relay import Computer, Peer, Relay, PATIENCE, name, refusal

COMPUTERS = 6
PHONES_EACH = 5
BACK_OFF = (1, 2, 4, 8, 16, 30)
LOST = (OSError, EOFError, websockets.WebSocketException)


class Party:
    """One that talks all the time, and after a loss comes back when the document says so."""

    def __init__(self, relay, channel, query):
        self.relay, self.channel, self.query = relay, channel, query
        self.opened = 0
        self.failed = 0  # Attempts since the loss,
        self.needed = 0  # and what they had come to when it opened.
        self.refusals = []

    async def live(self):
        while True:
            await self.connect()
            await asyncio.sleep(BACK_OFF[min(self.failed, len(BACK_OFF) - 1)])

    async def connect(self):
        try:
            peer = await Peer.join(self.relay, self.channel, self.query)
        except websockets.InvalidStatusCode as failure:
            self.refusals.append(failure.status_code)
            self.failed += 1
        except LOST:
            self.failed += 1
        else:
            self.opened, self.needed, self.failed = self.opened + 1, self.failed, 0
            with contextlib.suppress(*LOST):
                await self.talk(peer)


class Desk(Party):
    """A computer that answers each message with itself."""

    def __init__(self, relay, computer, devices):
        super().__init__(relay, computer.channel, f"role=mac&auth={computer.token}")
        self.devices, self.connected = set(devices), set()

    async def talk(self, peer):
        await peer.say(t="sync", devices=sorted(self.devices))
        while True:
            frame = await peer.hear()
            if frame["t"] == "peers":
                self.connected = set(frame["phones"])
            elif frame["t"] == "msg":
                await peer.say(t="msg", to=frame["from"], n=frame["n"], c=frame["c"])


class Handset(Party):
    """A phone that asks, waits for what it asked, and asks the next."""

    def __init__(self, relay, channel, device, token):
        super().__init__(relay, channel, f"role=phone&device={device}&auth={token}")
        self.asked, self.answered, self.strange = 0, 0, []

    async def talk(self, peer):
        while True:
            self.asked += 1
            await peer.say(t="msg", n=str(self.asked), c=self.query)
            while (frame := await peer.hear())["t"] == "computer":
                pass
            if frame == {"t": "msg", "n": str(self.asked), "c": self.query}:
                self.answered = self.asked
            elif frame.get("reason") != "the computer is not connected":
                self.strange.append(frame)
            await asyncio.sleep(0.1)  # A phone may send ten a second.


async def until(condition):
    end = time.monotonic() + PATIENCE
    while not condition():
        assert time.monotonic() < end, "did not come"
        await asyncio.sleep(0.02)


class Restart(unittest.IsolatedAsyncioTestCase):
    async def asyncSetUp(self):
        self.relay = Relay()
        self.addCleanup(self.relay.stop)
        self.desks, self.handsets = [], []
        for _ in range(COMPUTERS):
            computer = await Computer.connect(self.relay)
            tokens = [name() for _ in range(PHONES_EACH)]
            devices = [await computer.add(token=token) for token in tokens]
            await computer.leave()
            self.desks.append(Desk(self.relay, computer, devices))
            self.handsets += [Handset(self.relay, computer.channel, *phone) for phone in zip(devices, tokens)]
        self.everybody = self.desks + self.handsets
        self.lives = [asyncio.create_task(party.live()) for party in self.everybody]

    async def asyncTearDown(self):
        for life in self.lives:
            life.cancel()
        await asyncio.gather(*self.lives, return_exceptions=True)

    async def all_pairs_talk(self):
        marks = [phone.asked for phone in self.handsets]
        await until(lambda: all(phone.answered > mark for phone, mark in zip(self.handsets, marks)))
        await until(lambda: all(desk.connected == desk.devices for desk in self.desks))

    async def use_up_the_address(self):
        """What removed phones behind the same address do: they ask until it is refused altogether."""
        for _ in range(100):
            stranger = Peer.join(self.relay, self.desks[0].channel, f"role=phone&device={name()}&auth=x")
            if await refusal(stranger) == 429:
                return
        self.fail("strangers are never told to wait")

    async def test_everybody_is_back_by_the_back_off(self):
        await self.all_pairs_talk()
        for down in (0, 1):  # For how many attempts of each the relay is away.
            with self.subTest(failed_attempts=down):
                opened = [party.opened for party in self.everybody]
                self.relay.kill()
                await until(lambda: all(party.failed >= down for party in self.everybody))
                self.relay.start()
                await self.use_up_the_address()
                await until(lambda: all(party.opened > before
                                        for party, before in zip(self.everybody, opened)))
                await self.all_pairs_talk()
                # One more may fail on a machine that takes a second to start the relay.
                self.assertLessEqual(max(party.needed for party in self.everybody), down + 1)
        self.assertEqual([party.refusals for party in self.everybody if party.refusals], [])
        self.assertEqual([phone.strange for phone in self.handsets if phone.strange], [])
        self.assertTrue(all(not life.done() for life in self.lives))


if __name__ == "__main__":
    support.BINARY = sys.argv.pop(1)
    unittest.main(verbosity=2)
