#!/usr/bin/env python3
"""Wraps JPEG files into an MJPG AVI, one frame per argument; "a.jpg+b.jpg" puts two
images (the fields of an interlaced frame) back to back in one frame. The header
states the size given, the full frame height for two-field frames.
  jpeg_avi_writer.py OUT.avi WIDTH HEIGHT FRAME...
"""
import struct
import sys


def chunk(fourcc, data):
    return fourcc + struct.pack("<I", len(data)) + data + (b"\0" if len(data) % 2 else b"")


def riff_list(kind, fourcc, body):
    return kind + struct.pack("<I", len(body) + 4) + fourcc + body


def main(out, width, height, frames):
    width, height = int(width), int(height)
    datas = [b"".join(open(name, "rb").read() for name in frame.split("+")) for frame in frames]
    largest = max(len(d) for d in datas)
    avih = struct.pack("<10I16x", 40000, 0, 0, 0x10, len(datas), 0, 1, largest, width, height)
    strh = b"vidsMJPG" + struct.pack("<I2H6IiI4h", 0, 0, 0, 0, 1, 25, 0, len(datas), largest, -1, 0, 0, 0,
                                     width, height)
    strf = struct.pack("<IiiHH6I", 40, width, height, 1, 24, 0, width * height * 3, 0, 0, 0, 0)
    strf = strf[:16] + b"MJPG" + strf[20:]
    hdrl = riff_list(b"LIST", b"hdrl", chunk(b"avih", avih) + riff_list(b"LIST", b"strl", chunk(b"strh", strh) +
                                                                        chunk(b"strf", strf)))
    movi, index = b"", b""
    for data in datas:
        # Offsets count from the "movi" FourCC.
        index += b"00dc" + struct.pack("<3I", 0x10, 4 + len(movi), len(data))
        movi += chunk(b"00dc", data)
    body = hdrl + riff_list(b"LIST", b"movi", movi) + chunk(b"idx1", index)
    with open(out, "wb") as f:
        f.write(riff_list(b"RIFF", b"AVI ", body))


if __name__ == "__main__":
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2], sys.argv[3], sys.argv[4:])
