#!/usr/bin/env python3
"""Writes the seed corpus of the fuzz targets from the shipped real bars.

Each seed is the argument header a target reads, followed by bars of
data/daily_sz002032.csv in the 48-byte bar layout (unit 100); the CSV seeds
are the first lines of the two shipped files."""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = os.path.join(HERE, "..", "data")


def cents(text):
    whole, _, frac = text.partition(".")
    return int(whole) * 100 + int((frac + "00")[:2])


def bars(start, count):
    out = b""
    with open(os.path.join(DATA, "daily_sz002032.csv")) as f:
        rows = [line.strip().split(",") for line in f][1:]
    for d, amount, close, high, low, open_, volume in rows[start:start + count]:
        out += struct.pack("<6iQdQ", int(d), 0, cents(open_), cents(high), cents(low), cents(close),
                           int(volume), float(amount), 0)
    return out


def write(target, name, payload):
    folder = os.path.join(HERE, "corpus", target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(payload)


def main():
    params = [(5, 10, 20, 30, 60), (12, 26, 9, 2, 3), (14, 6, 3, 9, 1), (1, 1, 1, 1, 1), (65, 130, 40, 62, 25)]
    for k, p in enumerate(params):
        for pick in (k, k + 17, k + 35):
            head = struct.pack("<BBi10i", pick, 2, 100, *(p + p))
            write("engine", f"seed-{pick:02d}", head + bars(100 * k, 120))
    for k, flags in enumerate((0x02, 0x06, 0x3A, 0x00)):
        code = b"002032"
        head = struct.pack("<BBibhbi", flags, 2, 100, 0, 110, 3 + k % 3, 3) + bytes([len(code)]) + code
        write("systems", f"seed-{k}", head + bars(300 * k, 140))
    for pick in range(4):
        code = b"600000"
        head = struct.pack("<BBibi", pick, 2, 1, 7 + pick, 100) + bytes([len(code)]) + code
        write("capi", f"seed-{pick}", head + bars(200 * pick, 90))
    for name in ("daily_sz002032.csv", "daily_ASML.AS.csv"):
        with open(os.path.join(DATA, name), "rb") as f:
            lines = f.read().split(b"\n")[:40]
        write("csv", "seed-" + name.split(".")[0], b"\x01" + b"\n".join(lines))


if __name__ == "__main__":
    main()
