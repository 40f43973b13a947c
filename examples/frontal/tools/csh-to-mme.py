#!/usr/bin/env python3
"""Writes a CSH recording as an ISO-MME test folder (ISO/TS 13499, data format edition 1.6).

    csh-to-mme.py IN.csh OUT_FOLDER            the test OUT_FOLDER/<name>.mme, Channel/<name>.chn,
                                               Channel/<name>.001, .002, ... (<name>: the folder's)
    csh-to-mme.py --compare A.csh B.csh        exit 0 when both hold the same channels (by position:
                                               an ISO-MME channel is named by its code), rates, T0
                                               and the very same float samples; else 1

simcore reads ISO-MME but never writes it: this is how the sample study gets one laboratory-style
test. Python 3 standard library only.
"""

import math
import struct
import sys
from pathlib import Path

# The central airbag unit's accelerometers of vehicle 1, unfiltered (ISO/TS 13499 channel codes:
# test object 1, position 0, main location CEUN, no fine location, acceleration, direction, P).
CHANNEL_CODES = {"ACU_X": "10CEUN000000ACXP", "ACU_Y": "10CEUN000000ACYP"}

# Header lines are "name:value" with the name padded to 28 columns; lines end in CR LF.
NAME_WIDTH = 28


class CshError(Exception):
    pass


def unquote(value):
    """A CSH value: trimmed, or in double quotes with the escapes \\\\ \\" \\n \\r \\t."""
    if not value.startswith('"'):
        return value
    if len(value) < 2 or not value.endswith('"'):
        raise CshError("unterminated quoted value: " + value)
    escapes = {"\\": "\\", '"': '"', "n": "\n", "r": "\r", "t": "\t"}
    text, i, body = [], 0, value[1:-1]
    while i < len(body):
        if body[i] == "\\" and i + 1 < len(body) and body[i + 1] in escapes:
            text.append(escapes[body[i + 1]])
            i += 2
        else:
            text.append(body[i])
            i += 1
    return "".join(text)


def as_float32(number):
    return struct.unpack("<f", struct.pack("<f", number))[0]


def read_csh(path):
    """The header items in order, and the channels: name, unit, rate and float32 samples."""
    lines = Path(path).read_text(encoding="utf-8").splitlines()
    if not lines or lines[0].strip() != "CSH 1":
        raise CshError(f"{path}: not a CSH 1 recording")
    header, channels, data_from = [], [], None
    for number, line in enumerate(lines[1:], start=2):
        text = line.strip()
        if not text or text.startswith("#"):
            continue
        key, sep, value = text.partition("=")
        if not sep:
            raise CshError(f"{path}:{number}: no '=' in {text!r}")
        key, value = key.strip(), unquote(value.strip())
        if key == "Data":
            data_from = number - 1
            break
        if key == "Channel":
            channels.append({"name": value, "unit": "", "rate": None, "count": None, "samples": []})
        elif channels and key in ("Unit", "Sampling Rate", "Samples"):
            channel = channels[-1]
            if key == "Unit":
                channel["unit"] = value
            elif key == "Sampling Rate":
                channel["rate"] = float(value)
            else:
                channel["count"] = int(value)
        elif not channels:
            header.append((key, value))
    if data_from is None:
        raise CshError(f"{path}: no Data section")
    cursor = data_from
    for channel in channels:
        expected = f"Data = {channel['name']}"
        if lines[cursor].strip() != expected:
            raise CshError(f"{path}:{cursor + 1}: {expected!r} expected")
        block = lines[cursor + 1 : cursor + 1 + channel["count"]]
        if len(block) != channel["count"]:
            raise CshError(f"{path}: channel {channel['name']} is short of samples")
        channel["samples"] = [as_float32(float(sample)) for sample in block]
        cursor += 1 + channel["count"]
    return header, channels


def line(name, value):
    return f"{name:<{NAME_WIDTH}}:{value}\r\n"


def number_text(value):
    # 9 significant digits give every float32 back exactly.
    return f"{value:.8E}"


def write_mme(source, folder):
    header, channels = read_csh(source)
    items = dict(header)
    folder = Path(folder)
    test = folder.name
    (folder / "Channel").mkdir(parents=True, exist_ok=True)
    t0_ms = float(items.get("T0", "0") or "0")
    speed = items.get("Crash Speed") or items.get("Vehicle Speed")
    speed_unit = items.get("Crash Speed Unit", "km/h")
    velocity = "NOVALUE"
    if speed:
        metres_per_second = float(speed) / 3.6 if speed_unit == "km/h" else float(speed)
        velocity = f"{metres_per_second:.3f}"
    comments = [text for text in items.get("Comments", "").split("\n") if text]

    mme = [
        line("Data format edition number", "1.6"),
        line("Laboratory name", "SimCore sample study (synthetic)"),
        line("Laboratory test ref. number", test),
        line("Customer name", "NOVALUE"),
        # Read back as the recording's Comments, Crash Type and Precise Crash Type.
        line("Title", "; ".join(comments) or "NOVALUE"),
        line("Type of the test", items.get("Crash Type") or "NOVALUE"),
        line("Subtype of the test", items.get("Precise Crash Type") or "NOVALUE"),
        line("Regulation", "NOVALUE"),
        line("Date of the test", "NOVALUE"),
        line("Number of test objects", "1"),
        line("Name of test object 1", items.get("Vehicle Code") or "Synthetic vehicle"),
        line("Velocity test object 1", velocity),
        line("Mass test object 1", items.get("Vehicle Mass") or "NOVALUE"),
        line("Impact side test object 1", "FR"),
        line("Type of test object 1", "VEHICLE"),
    ]
    if items.get("Obstacle Type"):
        mme.append(line("Comments", "Obstacle: " + items["Obstacle Type"]))
    (folder / f"{test}.mme").write_bytes("".join(mme).encode("utf-8"))

    chn = [line("Instrumentation standard", "ISO 6487"), line("Number of channels", str(len(channels)))]
    for index, channel in enumerate(channels, start=1):
        code = CHANNEL_CODES.get(channel["name"])
        if code is None:
            raise CshError(f"{source}: no ISO channel code for channel {channel['name']}")
        chn.append(line(f"Name of channel {index:03d}", f"{code} / {channel['name']}"))
    (folder / "Channel" / f"{test}.chn").write_bytes("".join(chn).encode("utf-8"))

    for index, channel in enumerate(channels, start=1):
        code = CHANNEL_CODES[channel["name"]]
        rate = channel["rate"]
        if not rate or rate <= 0 or not math.isfinite(rate):
            raise CshError(f"{source}: channel {channel['name']} has no sampling rate")
        text = [
            line("Name of the channel", channel["name"]),
            line("Laboratory channel code", channel["name"]),
            line("Channel code", code),
            line("Test object number", "1"),
            line("Location", "CEUN"),
            line("Direction", code[14]),
            line("Channel frequency class", "NOVALUE"),
            line("Unit", channel["unit"] or "NOVALUE"),
            line("Sampling interval", repr(1.0 / rate)),
            line("Time of first sample", repr(-t0_ms / 1000.0 + 0.0)),
            line("Number of samples", str(len(channel["samples"]))),
            line("Reference channel", "implicit"),
            line("Dimension", "AC"),
            line("Data status", "OK"),
        ]
        text += [number_text(sample) + "\r\n" for sample in channel["samples"]]
        (folder / "Channel" / f"{test}.{index:03d}").write_bytes("".join(text).encode("utf-8"))
    print(f"{folder}: {len(channels)} channels of {source}")


def compare(first, second):
    header_a, channels_a = read_csh(first)
    header_b, channels_b = read_csh(second)
    problems = []
    if len(channels_a) != len(channels_b):
        problems.append(f"{len(channels_a)} channels against {len(channels_b)}")
    for a, b in zip(channels_a, channels_b):
        label = f"{a['name']} / {b['name']}"
        if a["unit"] != b["unit"]:
            problems.append(f"{label}: unit {a['unit']!r} against {b['unit']!r}")
        if not math.isclose(a["rate"], b["rate"], rel_tol=1e-12):
            problems.append(f"{label}: rate {a['rate']} against {b['rate']}")
        if len(a["samples"]) != len(b["samples"]):
            problems.append(f"{label}: {len(a['samples'])} samples against {len(b['samples'])}")
        else:
            differ = [i for i, (x, y) in enumerate(zip(a["samples"], b["samples"])) if x != y]
            if differ:
                problems.append(f"{label}: {len(differ)} samples differ, the first at index {differ[0]}")
    t0 = [float(dict(h).get("T0", "0") or "0") for h in (header_a, header_b)]
    if not math.isclose(t0[0], t0[1], abs_tol=1e-9):
        problems.append(f"T0 {t0[0]} against {t0[1]}")
    for problem in problems:
        print(f"{first} / {second}: {problem}", file=sys.stderr)
    if not problems:
        count = sum(len(c["samples"]) for c in channels_a)
        print(f"{second}: the same {len(channels_a)} channels and {count} samples as {first}")
    return 0 if not problems else 1


def main(arguments):
    try:
        if len(arguments) == 3 and arguments[0] == "--compare":
            return compare(arguments[1], arguments[2])
        if len(arguments) == 2 and not arguments[0].startswith("-"):
            write_mme(arguments[0], arguments[1])
            return 0
    except (CshError, OSError, ValueError) as failure:
        print(f"csh-to-mme: {failure}", file=sys.stderr)
        return 2
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
