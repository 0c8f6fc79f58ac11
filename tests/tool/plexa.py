"""Runs the plexa command as a user does, makes its inputs with ffmpeg and looks into its outputs."""
import json
import os
import subprocess

import numpy as np

PROGRAM = os.path.abspath(os.environ.get("PLEXA", "build/release/bin/plexa"))
DEADLINE = 120  # seconds: a hang fails


def run(*arguments, input=b"", **options):
    """The finished process; its output is text, or bytes where that is a video."""
    done = subprocess.run([PROGRAM, *map(str, arguments)], input=input, capture_output=True,
                          timeout=DEADLINE, **options)
    done.err = done.stderr.decode()
    done.out = done.stdout if done.stdout[:4] == b"YUV4" else done.stdout.decode()
    return done


def ok(*arguments, **options):
    done = run(*arguments, **options)
    assert done.returncode == 0, done.err
    return done


def failed(status, message, *arguments, **options):
    """It ended with this status, and one line with this message on standard error."""
    done = run(*arguments, **options)
    assert (done.returncode, done.err.count("\n")) == (status, 1), done.err
    assert done.err.startswith("plexa: ") and message in done.err
    return done


def ffmpeg(*arguments, input=None):
    return subprocess.run(["ffmpeg", "-v", "error", "-y", *map(str, arguments)], input=input,
                          check=True, capture_output=True).stdout


def probe(path, what="stream"):
    """The first stream, or all frames, as ffprobe sees them."""
    shown = subprocess.run(["ffprobe", "-v", "error", "-of", "json", f"-show_{what}s",
                            "-select_streams", "v:0", path], check=True, capture_output=True).stdout
    found = json.loads(shown)[f"{what}s"]
    return found[0] if what == "stream" else found


def times(path):
    return [float(frame["pts_time"]) for frame in probe(path, "frame")]


def size(path):
    stream = probe(path)
    return stream["width"], stream["height"]


def pixels(path):
    """A picture, or a clip's first frame, as rows of RGB."""
    width, height = size(path)
    raw = ffmpeg("-i", path, "-frames:v", 1, "-f", "rawvideo", "-pix_fmt", "rgb24", "-")
    return np.frombuffer(raw, np.uint8).reshape(height, width, 3).astype(int)


def y4m(width, height, frames, bits=8):
    chroma = "420jpeg" if bits == 8 else "420p10 XYSCSS=420P10"
    header = f"YUV4MPEG2 W{width} H{height} F24000:1001 Ip A4:3 C{chroma}\n"
    return header.encode() + b"".join(b"FRAME\n" + frame for frame in frames)


def y4m_frames(stream):
    """The header's words and the samples of every frame."""
    header, _, rest = stream.partition(b"\n")
    words = header.decode().split()
    width, height = (int(word[1:]) for word in words[1:3])
    length = width * height + 2 * ((width + 1) // 2) * ((height + 1) // 2)
    length = 6 + length * (2 if b"p10" in header else 1)
    assert len(rest) % length == 0
    return words, [rest[at + 6:at + length] for at in range(0, len(rest), length)]


def noise(width, height, bits, count):
    samples = width * height + 2 * ((width + 1) // 2) * ((height + 1) // 2)
    kind = np.uint8 if bits == 8 else np.dtype("<u2")
    values = np.random.default_rng(1).integers(0, 1 << bits, (count, samples))
    return [frame.tobytes() for frame in values.astype(kind)]


def greys(width, height, count, first=16):
    """Frames of one grey each; the luma of frame i is `first` + i."""
    chroma = bytes([128]) * (2 * ((width + 1) // 2) * ((height + 1) // 2))
    return [bytes([first + i]) * (width * height) + chroma for i in range(count)]


def grey(luma):
    return round((luma - 16) * 255 / 219)


def trace_of(path):
    """The names of a trace's slices in the order of their beginning; each begin has its end."""
    with open(path) as file:
        events = json.load(file)["traceEvents"]
    names, open_slices, open_async = [], {}, {}
    for event in events:
        if event["ph"] == "B":
            names.append(event["name"])
            open_slices.setdefault(event["tid"], []).append(event["ts"])
        elif event["ph"] == "E":
            assert open_slices[event["tid"]].pop() <= event["ts"]
        elif event["ph"] in "be":
            key = event["cat"], event["id"]
            open_async[key] = open_async.get(key, 0) + (1 if event["ph"] == "b" else -1)
            assert open_async[key] >= 0
    assert not any(open_slices.values()) and not any(open_async.values())
    return names


def clip(path, width=64, height=48, count=1, codec="ffv1", format="yuv420p", yuv=(40, 128, 128),
         ticks=None, output=()):
    """Frames of one colour each, each one brighter by 1, at `ticks` of a 1 ms clock or 25 a second."""
    chroma = ((width + 1) // 2) * ((height + 1) // 2)
    raw = b"".join(bytes([yuv[0] + i]) * (width * height) + bytes([yuv[1]]) * chroma +
                   bytes([yuv[2]]) * chroma for i in range(count))
    filters = f"scale=in_range=full:out_range=full,format={format}"
    if ticks:
        filters += ",settb=1/1000,setpts=" + "+".join(f"eq(N\\,{i})*{t}" for i, t in enumerate(ticks))
    ffmpeg("-f", "rawvideo", "-pix_fmt", "yuv420p", "-s", f"{width}x{height}", "-i", "-", "-vf",
           filters, "-fps_mode", "passthrough", "-enc_time_base", "1:1000", "-c:v", codec, *output,
           path, input=raw)
    return path
