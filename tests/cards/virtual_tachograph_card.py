#!/usr/bin/env python3
"""A tachograph workshop card for the virtual reader of vsmartcard's vpcd.

It connects to vpcd (the reader side, inside pcscd) and answers the card's commands:
SELECT, READ/UPDATE BINARY, GET DATA, GET CHALLENGE, VERIFY, MSE SET, PSO VERIFY CERTIFICATE,
MUTUAL AUTHENTICATE and GET RESPONSE, over the files a tachograph card keeps. Every command it
receives is appended, in hex, to the log file when one is given, so tests can check the wire.

A test can shape the card: --file replaces a file's contents, and --answer gives a canned answer to
every command that begins with the given bytes (for its first N commands only with @N), to stand for
a card that refuses, answers short or is damaged.

The vpcd protocol: each message is a 2-byte big-endian length and a payload; a payload of one byte
is a control (0 power off, 1 power on, 2 reset, 4 send the ATR), anything longer is an APDU.
"""
import argparse
import os
import socket
import struct
import sys

ATR = bytes.fromhex("3B9F96C00A3FC6A08031E073FE211B630801140F9000")
TACHOGRAPH_DF = bytes.fromhex("FF544143484F")
MASTER_FILES = {0x0002, 0x0005}


def be(value, size):
    return value.to_bytes(size, "big")


def certificate(length, seed):
    body = bytes((seed + i) & 0xFF for i in range(length))
    return bytes.fromhex("3082") + be(length, 2) + body


def workshop_files(card_number, pin_records):
    number = card_number.encode("ascii").ljust(16, b" ")[:16]
    code = "ООО ТАХОСЕРВИС МАСТЕРСКАЯ 7".encode("cp1251").ljust(36, b" ")[:36]
    ef0520 = bytearray(211)
    ef0520[0] = 0x4A                      # issuing nation
    ef0520[1:17] = number
    ef0520[17:53] = code
    ef0520[61:65] = be(1893456000, 4)     # expiry, 2030-01-01
    ef0501 = bytearray(11)
    ef0501[0] = 0x02                      # workshop card
    ef0501[7:9] = be(len(pin_records), 2)
    ef0505 = bytearray(be(len(pin_records) - 1 if pin_records else 0, 2))
    for use, nation, registration in pin_records:
        record = bytearray(31)
        record[10:14] = be(use, 4)
        record[14] = nation
        record[15:29] = registration.encode("ascii").ljust(14, b" ")[:14]
        ef0505 += record
    return {
        0x0002: bytes(range(25)),                              # EF ICC
        0x0005: bytes(8),                                      # EF IC
        0xC208: certificate(240, 0x30),                        # CA certificate
        0xC200: certificate(252, 0x50),                        # card certificate
        0xC201: bytes.fromhex("00112233445566778899AABBCCDDEEFF"),
        0x0501: bytes(ef0501),
        0x0520: bytes(ef0520),
        0x0505: bytes(ef0505),
        0x0506: bytes(range(256)) * 2,                         # long file for 2-byte offsets
    }


def hex_pair(text, what):
    """PREFIX=HEX (with @N for answers) into bytes; an empty HEX is allowed."""
    key, sep, value = text.partition("=")
    if not sep:
        raise argparse.ArgumentTypeError(f"{what}: expected KEY=HEX, got {text!r}")
    count = None
    if "@" in value:
        value, _, times = value.partition("@")
        count = int(times)
    return bytes.fromhex(key), bytes.fromhex(value), count


class Card:
    def __init__(self, pin, log, files=(), answers=()):
        self.files = workshop_files("RUW0000012345678", [(1767225600, 0x4A, "A123BC77")])
        for fid, content, _ in files:
            self.files[int.from_bytes(fid, "big")] = content
        # [prefix, answer, commands left or None for all of them]
        self.answers = [[prefix, answer, count] for prefix, answer, count in answers]
        self.full_number = bytes([0x02, 0x4A]) + b"RUW0000012345678"
        self.pin = pin.encode("ascii") + b"\xff" * (8 - len(pin))
        self.df_selected = False
        self.current = None
        self.tries = 3
        self.keys = {bytes.fromhex("AA" * 16), bytes.fromhex("BB" * 16)}
        self.pending = b""
        self.chain = b""
        self.log = log

    def answer(self, apdu):
        if self.log:
            with open(self.log, "a") as f:
                f.write(apdu.hex().upper() + "\n")
        for canned in self.answers:
            prefix, answer, left = canned
            if apdu.startswith(prefix) and left != 0:
                if left is not None:
                    canned[2] = left - 1
                return answer
        cla, ins, p1, p2 = apdu[0], apdu[1], apdu[2], apdu[3]
        body = apdu[5:] if len(apdu) > 5 else b""
        if ins == 0xA4 and p1 == 0x04:
            self.df_selected = body == TACHOGRAPH_DF
            self.current = None
            return b"\x90\x00" if self.df_selected else b"\x6a\x82"
        if ins == 0xA4 and p1 == 0x02:
            fid = int.from_bytes(body[:2], "big")
            # Only EF ICC and EF IC lie beside the tachograph application; the rest are inside it.
            if fid not in self.files or (fid not in MASTER_FILES and not self.df_selected):
                return b"\x6a\x82"
            self.current = fid
            return b"\x90\x00"
        if ins == 0xB0:
            if self.current is None:
                return b"\x69\x86"
            offset, length = (p1 << 8) | p2, apdu[4] or 256
            data = self.files[self.current]
            if offset > len(data):
                return b"\x6b\x00"
            chunk = data[offset:offset + length]
            return chunk + (b"\x90\x00" if len(chunk) == length else b"\x62\x82")
        if ins == 0xD6:
            if self.current is None:
                return b"\x69\x86"
            offset = (p1 << 8) | p2
            data = bytearray(self.files[self.current])
            if offset + len(body) > len(data):
                return b"\x6a\x84"
            data[offset:offset + len(body)] = body
            self.files[self.current] = bytes(data)
            return b"\x90\x00"
        if ins == 0xCA and p1 == 0x00 and p2 == 0x45:
            return self.full_number + b"\x90\x00"
        if ins == 0xCA and p1 == 0xDF and p2 == 0x06:
            return b"\x01\x02\x90\x00"
        if ins == 0x84:
            return os.urandom(16) + b"\x90\x00"
        if ins == 0x20:
            if (p1, p2, apdu[4]) != (0x00, 0x00, 0x08):
                return b"\x6a\x86"
            if self.tries == 0:
                return b"\x69\x83"
            if body == self.pin:
                self.tries = 3
                return b"\x90\x00"
            self.tries -= 1
            return bytes([0x63, 0xC0 | self.tries])
        if ins == 0x22:
            if (p1, p2) != (0xC1, 0xB6):
                return b"\x6a\x86"
            if apdu[4] != 0x12 or body[:2] != b"\x83\x10" or len(body) != 18:
                return b"\x6a\x80"
            return b"\x90\x00" if body[2:18] in self.keys else b"\x6a\x88"
        if ins == 0x2A:
            if (p1, p2) != (0x00, 0xAE):
                return b"\x6a\x86"
            self.chain += body
            if cla & 0x10:
                return b"\x90\x00"
            self.chain = b""
            return b"\x90\x00"
        if ins == 0x82:
            self.pending = bytes((i * 3) & 0xFF for i in range(128))
            return bytes([0x61, len(self.pending)])
        if ins == 0xC0:
            data, self.pending = self.pending[:apdu[4]], b""
            return data + b"\x90\x00" if data else b"\x69\x85"
        return b"\x6d\x00"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--host", default="localhost")
    parser.add_argument("--port", type=int, default=35963)
    parser.add_argument("--pin", default="1234")
    parser.add_argument("--log")
    parser.add_argument("--file", action="append", default=[],
                        type=lambda text: hex_pair(text, "--file"),
                        help="FID=HEX: the file's whole contents")
    parser.add_argument("--answer", action="append", default=[],
                        type=lambda text: hex_pair(text, "--answer"),
                        help="PREFIX=HEX[@N]: the answer (data and status) to commands beginning so")
    args = parser.parse_args()

    card = Card(args.pin, args.log, args.file, args.answer)
    sock = socket.create_connection((args.host, args.port))
    print("CARD READY", flush=True)
    while True:
        header = sock.recv(2, socket.MSG_WAITALL)
        if len(header) < 2:
            return 0
        (length,) = struct.unpack(">H", header)
        payload = sock.recv(length, socket.MSG_WAITALL) if length else b""
        if len(payload) == 1:
            if payload[0] == 4:
                sock.sendall(struct.pack(">H", len(ATR)) + ATR)
            continue
        reply = card.answer(payload)
        sock.sendall(struct.pack(">H", len(reply)) + reply)


if __name__ == "__main__":
    sys.exit(main())
