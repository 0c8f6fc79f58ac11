"""What `plexa scale` makes of videos: samples, times, tags, pictures, reports."""
import contextlib
import json
import os
import pty
import subprocess
from xml.etree import ElementTree

import numpy as np
import pytest

from plexa import (PROGRAM, clip, failed, ffmpeg, grey, greys, noise, ok, pixels, probe, run, size,
                   times, trace_of, y4m, y4m_frames)

# More frames at the sizes that are cheap: every buffer is used several times over.
SIZES = [(2, 2, 20), (18, 10, 20), (19, 11, 20), (322, 178, 12), (641, 361, 5), (1366, 768, 3),
         (1920, 1080, 2), (4098, 2162, 1)]


@pytest.mark.parametrize("bits", [8, 10])
@pytest.mark.parametrize("width,height,count", SIZES)
def test_every_sample_comes_back(tmp_path, width, height, count, bits):
    sent = noise(width, height, bits, count)
    (tmp_path / "in.y4m").write_bytes(y4m(width, height, sent, bits))
    ok("scale", tmp_path / "in.y4m", tmp_path / "out.y4m", "--size", f"{width}x{height}")
    words, received = y4m_frames((tmp_path / "out.y4m").read_bytes())
    assert words[1:3] == [f"W{width}", f"H{height}"]
    assert received == sent
    assert sorted(os.listdir(tmp_path)) == ["in.y4m", "out.y4m"]


@pytest.mark.parametrize("bits", [8, 10])
def test_streams_go_from_standard_input_to_standard_output(bits):
    sent = noise(37, 23, bits, 12)
    done = ok("scale", "-", "-", "--size", "37x23", input=y4m(37, 23, sent, bits))
    words, received = y4m_frames(done.out)
    assert received == sent
    assert {"F24000:1001", "A4:3"} <= set(words)
    assert "12 frames" in done.err  # the summary makes way for the video


@pytest.mark.parametrize("options", [[], ["--keep-times"]])
@pytest.mark.parametrize("output,tolerance", [("out.mp4", 1e-6), ("out.mkv", 6e-4)])
def test_times_come_out_as_they_went_in(tmp_path, output, tolerance, options):
    ticks = [5000, 5001, 5700, 6000, 31000, 31013, 31500, 40000]  # uneven, late, and with a gap
    source = clip(tmp_path / "in.mkv", count=8, ticks=ticks, output=["-copyts"])
    ok("scale", source, tmp_path / output, "--size", "32x24", *options)
    start = 0 if options else times(source)[0]
    expected = [time - start for time in times(source)]
    assert times(tmp_path / output) == pytest.approx(expected, abs=tolerance)


@pytest.mark.parametrize("format,codec", [("yuv420p", "h264"), ("yuv420p10le", "hevc")])
@pytest.mark.parametrize("container", ["mp4", "mkv"])
def test_tags_aspect_and_depth_are_kept(tmp_path, format, codec, container):
    tags = {"color_range": "tv", "color_primaries": "bt2020", "color_transfer": "smpte2084",
            "color_space": "bt2020nc"}
    source = clip(tmp_path / "in.mkv", 128, 96, 3, format=format, output=[
        "-aspect", "16:9", "-color_range", "tv", "-color_primaries", "bt2020", "-color_trc",
        "smpte2084", "-colorspace", "bt2020nc", "-metadata", "title=Hello",
        "-metadata:s:v", "language=deu"])
    output = tmp_path / f"out.{container}"
    ok("scale", source, output, "--size", "64x-1")
    found = probe(output)
    assert (found["codec_name"], found["pix_fmt"]) == (codec, format)
    assert (found["width"], found["height"], found["sample_aspect_ratio"]) == (64, 48, "4:3")
    assert {key: found.get(key) for key in tags} == tags
    assert found["tags"]["language"] in ("deu", "ger")
    assert len(times(output)) == 3


@pytest.mark.parametrize("format,bits,note", [
    ("yuv444p", 8, "its colour goes from yuv444p to 4:2:0"), ("yuv422p10le", 10, "yuv422p10le to"),
    ("yuv420p12le", 10, "12 bits become 10"), ("yuv411p", 8, "yuv411p to 4:2:0"),
    ("yuva420p", 8, "its transparency (alpha) is left out"), ("gbrp", 8, "r0 to 4:2:0")])
def test_other_pixel_formats_go_to_the_nearer_of_two(tmp_path, format, bits, note):
    source = clip(tmp_path / "in.mkv", 19, 11, 2, format=format)
    done = ok("scale", source, "-", "--size", "19x11")
    words, frames = y4m_frames(done.out)
    assert (len(frames), any("420p10" in word for word in words)) == (2, bits == 10)
    assert note in done.err


def test_frames_stop_after_the_number_asked_for():
    sent = greys(32, 16, 30)
    done = ok("scale", "-", "-", "--size", "32x16", "--frames", 7, input=y4m(32, 16, sent))
    assert y4m_frames(done.out)[1] == sent[:7]


def test_picture_is_the_first_frame(tmp_path):
    video = y4m(33, 17, greys(33, 17, 30)[9:])
    assert "1 frames" in ok("scale", "-", tmp_path / "o.png", "--size", "33x17", "--no-filters",
                            input=video).out
    assert (pixels(tmp_path / "o.png") == grey(16 + 9)).all()


# The length of a stream on standard input is not known.
def test_sheet_is_spread_over_the_clip(tmp_path):
    ok("scale", "-", tmp_path / "sheet.png", "--size", "16x8", "--sheet", "3x2",
       input=y4m(16, 8, greys(16, 8, 200)))
    sheet = pixels(tmp_path / "sheet.png")
    corners = [sheet[row, column, 0] for row in (0, 12) for column in (0, 20, 40)]
    assert (sheet[7, 15], sheet[9, 0]) == (pytest.approx([corners[0]] * 3), pytest.approx([32] * 3))
    for cell, corner in enumerate(corners):  # within half a part of the middle of its part
        assert corner * 219 / 255 == pytest.approx((cell + 0.5) * 200 / 6, abs=200 / 6)
    assert corners == sorted(set(corners))


def test_sheet_of_a_file_takes_the_middle_of_each_part(tmp_path):
    source = clip(tmp_path / "in.mp4", count=60, codec="libx264", output=["-qp", "0"])
    done = ok("scale", source, tmp_path / "o.png", "--size", "64x48", "--sheet", "2x2", "--json")
    assert json.loads(done.out)["frames"] == 4
    sheet = pixels(tmp_path / "o.png")
    cells = [sheet[y, x, 0] for y in (0, 90) for x in (0, 127)]
    assert np.diff(cells) == pytest.approx([15 * 255 / 219] * 3, abs=3)


def test_sheet_of_few_frames_says_so(tmp_path):
    done = ok("scale", "-", tmp_path / "o.png", "--size", "8x8", "--sheet", "3x2",
              input=y4m(8, 8, greys(8, 8, 4)))
    assert "4 frames for 6 cells" in done.out


def test_json_holds_what_the_text_holds(tmp_path):
    done = ok("scale", "-", tmp_path / "o.y4m", "--size", "32x20", "--json",
              input=y4m(64, 48, greys(64, 48, 25)))
    summary = json.loads(done.out)
    assert done.err == ""
    assert (summary["input"]["width"], summary["output"]["height"]) == (64, 20)
    assert summary["frames"] == 25 and summary["frames_per_second"] > 0
    assert [stage["name"] for stage in summary["stages"]] == ["APipeDecompress", "APipeScale"]
    for took in (*summary["stages"], summary["chain"]):
        assert took["mean_ms"] > 0 and took["p99_ms"] >= took["p50_ms"] > 0
    assert summary["chain"]["mean_ms"] >= summary["stages"][1]["mean_ms"]


def test_summary_is_left_out_when_quiet_and_the_log_comes_when_verbose(tmp_path):
    job = ["scale", "-", tmp_path / "o.y4m", "--size", "8x8"]
    video = y4m(8, 8, greys(8, 8, 3))
    quiet = ok(*job, "--quiet", input=video)
    assert (quiet.out, quiet.err) == ("", "")
    assert "APipeScale" in ok(*job, "--verbose", input=video).err


def test_progress_is_shown_on_a_terminal_and_wiped_out(tmp_path):
    terminal, end = pty.openpty()
    os.set_blocking(terminal, False)
    (tmp_path / "o.y4m").symlink_to("/dev/null")
    frames = y4m(16, 16, greys(16, 16, 50))
    shown = b""
    with subprocess.Popen([PROGRAM, "scale", "-", tmp_path / "o.y4m", "--size", "16x16"],
                          stderr=end, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
        process.stdin.write(frames)
        while not shown:
            process.stdin.write(frames[frames.index(b"FRAME"):])
            process.stdin.flush()
            with contextlib.suppress(BlockingIOError):
                shown = os.read(terminal, 4096)
        out, _ = process.communicate()
    shown += os.read(terminal, 1 << 16)
    assert process.returncode == 0 and b" frames in " in out
    assert b" frames, " in shown and b" frames/s" in shown and shown.endswith(b"\r\x1b[K")


@pytest.mark.skipif("SANITIZED" in os.environ, reason="sanitizers keep freed memory")
def test_memory_does_not_grow_with_the_length_of_the_clip(tmp_path):
    video = y4m(320, 180, greys(320, 180, 100))
    frames = video[video.index(b"FRAME"):]

    def peak(pid):
        status = open(f"/proc/{pid}/status").read()
        return int(status.split("VmHWM:")[1].split()[0])

    with subprocess.Popen([PROGRAM, "scale", "-", tmp_path / "o.y4m", "--size", "160x90",
                           "--quiet"], stdin=subprocess.PIPE) as process:
        process.stdin.write(video + 2 * frames)
        early = peak(process.pid)
        for _ in range(27):
            process.stdin.write(frames)
        late = peak(process.pid)
    assert process.returncode == 0
    assert late < early + 27 * len(frames) / 1024 / 10  # a tenth of what the frames take
    assert len(y4m_frames((tmp_path / "o.y4m").read_bytes())[1]) == 3000


HDR = ["-c:v", "libx265", "-color_primaries", "bt2020", "-color_trc", "smpte2084", "-colorspace",
       "bt2020nc", "-color_range", "tv", "-x265-params",
       "log-level=none:hdr10=1:master-display=G(8500,39850)B(6550,2300)R(35400,14600)"
       "WP(15635,16450)L(10000000,50):max-cll=1000,200"]


def test_hdr_metadata_goes_through_and_pictures_are_tone_mapped(tmp_path):
    source = clip(tmp_path / "in.mp4", count=3, format="yuv420p10le", yuv=(143, 128, 128),
                  output=HDR)
    for name in ("out.mp4", "out.mkv"):
        ok("scale", source, tmp_path / name, "--size", "32x24")
        sides = {side["side_data_type"]: side for side in probe(tmp_path / name)["side_data_list"]}
        display = sides["Mastering display metadata"]
        peak, _, unit = display["max_luminance"].partition("/")
        assert int(peak) / int(unit) == 1000
        assert sides["Content light level metadata"]["max_content"] == 1000
        # A decoder that knows no container has it too.
        first = probe(tmp_path / name, "frame")[0]["side_data_list"]
        assert "Mastering display metadata" in [side["side_data_type"] for side in first]
    ok("scale", source, tmp_path / "p.png", "--size", "32x24")
    ok("snapshot", source, tmp_path / "s.png", "--size", "32x24")
    assert (pixels(tmp_path / "p.png") == pixels(tmp_path / "s.png")).all()
    assert abs(pixels(tmp_path / "p.png")[0, 0, 0] - grey(143)) > 30
    assert "no word for matrix" in ok("scale", source, tmp_path / "o.y4m", "--size", "32x24").out


def test_damage_is_left_out_and_counted(tmp_path):
    whole = tmp_path / "whole.ts"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=s=128x96:d=4", "-c:v", "mpeg2video", "-q:v", 3, whole)
    packets = [whole.read_bytes()[at:at + 188] for at in range(0, whole.stat().st_size, 188)]
    lost = tmp_path / "lost.ts"
    lost.write_bytes(b"".join(packet for at, packet in enumerate(packets)
                              if at not in [len(packets) * k // 4 for k in (1, 2, 3)]))
    done = ok("scale", lost, tmp_path / "o.mp4", "--size", "64x48", "--json")
    summary = json.loads(done.out)
    assert "is damaged" in summary["notes"][0] and sum(summary["damage"].values()) > 0
    assert 95 <= len(times(tmp_path / "o.mp4")) == summary["frames"]
    (tmp_path / "zero.mp4").write_bytes(zeroed(tmp_path))
    done = ok("scale", tmp_path / "zero.mp4", tmp_path / "o.mp4", "--size", "64x48", "--json")
    damage = json.loads(done.out)["damage"]
    assert damage["skipped_packets"] > 0 and len(times(tmp_path / "o.mp4")) > 30
    strict = run("scale", tmp_path / "zero.mp4", tmp_path / "p.mp4", "--size", "64x48", "--strict")
    assert strict.returncode == 1 and "is damaged or cut short near frame" in strict.err
    assert not (tmp_path / "p.mp4").exists()


def zeroed(folder):
    """A clip whose sixth frame on is zeros, for a few frames."""
    source = clip(folder / "w.mp4", count=40, codec="mjpeg", format="yuvj420p",
                  output=["-huffman", "default"])
    content = source.read_bytes()
    start = content.index(b"mdat") + 4000
    return content[:start] + bytes(2000) + content[start + 2000:]


@pytest.mark.parametrize("offsets", [(0, 0.16), (5, 1)])
def test_equal_and_backward_times_are_mended(tmp_path, offsets):
    parts = [ffmpeg("-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=0.2", "-c:v", "mpeg2video", "-g", 1,
                    "-muxdelay", 0, "-muxpreload", 0, "-output_ts_offset", offset, "-f", "mpegts",
                    "-") for offset in offsets]
    (tmp_path / "in.ts").write_bytes(b"".join(parts))
    job = ["scale", tmp_path / "in.ts", tmp_path / "o.mp4", "--size", "32x24"]
    summary = json.loads(ok(*job, "--json").out)
    found = times(tmp_path / "o.mp4")
    assert found[0] == 0 and len(found) == 10 and found == sorted(set(found))
    assert 1 <= summary["damage"]["mended_times"] <= 2 and found[-1] < 0.5
    assert run(*job, "--strict").returncode == 1


def test_a_change_of_size_is_scaled_to_the_same_output(tmp_path):
    parts = [clip(tmp_path / f"{i}.mjpeg", w, h, 5, codec="mjpeg", format="yuvj420p")
             for i, (w, h) in enumerate([(64, 48), (33, 21), (64, 48)])]
    (tmp_path / "in.mjpeg").write_bytes(b"".join(part.read_bytes() for part in parts))
    done = ok("scale", tmp_path / "in.mjpeg", tmp_path / "o.y4m", "--size", "40x30")
    frames = y4m_frames((tmp_path / "o.y4m").read_bytes())[1]
    assert [frame[600] for frame in frames] == pytest.approx([40 + i % 5 for i in range(15)], abs=1)
    assert "changes size to 33x21 at frame 6; all is scaled to 40x30" in done.out


def test_pictures_are_upright_and_square_and_video_keeps_its_tags(tmp_path):
    source = clip(tmp_path / "in.mp4", 64, 48, 2, codec="libx264", output=["-aspect", "8:3"])
    turned = tmp_path / "turned.mp4"
    ffmpeg("-i", source, "-c", "copy", "-metadata:s:v:0", "rotate=90", turned)
    for command, options in (("scale", ["--size", "48x-1"]), ("snapshot", [])):
        ok(command, turned, tmp_path / "o.png", *options)
        width, height = size(tmp_path / "o.png")
        assert height == pytest.approx(width * 8 / 3, abs=1), command
        ok(command, turned, tmp_path / "o.png", "--no-filters", *options)
        assert size(tmp_path / "o.png") == ((48, 36) if options else (64, 48))
    ok("scale", turned, tmp_path / "o.mp4", "--size", "32x-1")
    found = probe(tmp_path / "o.mp4")
    assert (found["width"], found["height"], found["sample_aspect_ratio"]) == (32, 24, "2:1")
    assert found["side_data_list"][0]["rotation"] == probe(turned)["side_data_list"][0]["rotation"]
    ok("scale", turned, tmp_path / "o.mkv", "--size", "24x-1")  # it has no place for the matrix
    assert size(tmp_path / "o.mkv") == (24, 32)
    ok("scale", source, tmp_path / "o.mkv", "--size", "64x24")  # as wide as before, in square pixels
    assert probe(tmp_path / "o.mkv")["sample_aspect_ratio"] == "1:1"


def test_fields_become_frames(tmp_path):
    source = tmp_path / "in.mpg"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=s=320x240:r=50:d=1", "-vf", "interlace=lowpass=off",
           "-c:v", "mpeg2video", "-flags", "+ilme+ildct", "-q:v", 2, source)
    done = ok("scale", source, tmp_path / "a.y4m", "--size", "320x240")
    assert "is interlaced; its fields are made into frames" in done.out
    combed = ok("scale", source, tmp_path / "b.y4m", "--size", "320x240", "--no-filters")
    assert "interlaced" not in combed.out

    def comb(name):  # how much rows differ from the mean of their neighbours
        luma = np.frombuffer(y4m_frames((tmp_path / name).read_bytes())[1][9], np.uint8)
        rows = luma[:320 * 240].reshape(240, 320).astype(int)
        return np.abs(2 * rows[1:-1] - rows[:-2] - rows[2:]).mean()

    assert comb("a.y4m") < 0.6 * comb("b.y4m")


def test_a_trace_has_every_frame_on_every_stage(tmp_path):
    job = ["scale", "-", tmp_path / "o.y4m", "--size", "48x36", "--quiet"]
    video = y4m(64, 48, greys(64, 48, 30))
    ok(*job, "--trace", tmp_path / "a.json", input=video)
    ok(*job, input=video, env={**os.environ, "PLEXA_TRACE": str(tmp_path / "b.json")})
    frames = [int(i * 1001e6 / 24000 + 0.5) for i in range(30)]
    for name in ("a.json", "b.json"):
        names = trace_of(tmp_path / name)
        for stage in ("compress", "APipeDecompress", "APipeScale", "write"):
            assert [f"{stage} {frame}" for frame in frames] == [
                slice for slice in names if slice.startswith(f"{stage} ") and slice[-1].isdigit()]
        ok("trace", tmp_path / name, tmp_path / "o.svg")
        hints = [hint.text for hint in
                 ElementTree.parse(tmp_path / "o.svg").iter("{http://www.w3.org/2000/svg}title")]
        assert sum(hint.startswith("APipeScale ") for hint in hints) == 30
        assert sum(hint.startswith("APipeScale, input waits ") for hint in hints) >= 30


def test_filters_are_ffmpegs(tmp_path):
    source = clip(tmp_path / "in.mkv", 64, 48, 25)
    ok("scale", source, tmp_path / "o.y4m", "--size", "10x10", "--filters", "crop=32:32,fps=5")
    words, frames = y4m_frames((tmp_path / "o.y4m").read_bytes())
    assert len(frames) == 5 and "F5:1" in words
    done = run("scale", source, tmp_path / "p.y4m", "--size", "10x10", "--filters", "krop")
    assert done.returncode == 1 and "--filters: " in done.err and "'krop'" in done.err


WATERMARK = os.path.abspath(os.environ.get("WATERMARK", "build/release/lib/libwatermark.so"))


@pytest.mark.parametrize("bits", [8, 10])
def test_stages_of_ones_own_stand_between_ours(tmp_path, bits):
    (tmp_path / "in.y4m").write_bytes(y4m(128, 96, noise(128, 96, bits, 9), bits))
    ok("scale", tmp_path / "in.y4m", tmp_path / "plain.y4m", "--size", "64x-1")
    done = ok("run", tmp_path / "in.y4m", tmp_path / "marked.y4m", "--chain",
              f"decompress+csc ! {WATERMARK}:text=hi,size=2 ! scale:64x-1")
    assert "WatermarkStage" in done.out
    kind = np.uint8 if bits == 8 else np.dtype("<u2")
    plain, marked = (np.array([np.frombuffer(frame, kind) for frame in
                               y4m_frames((tmp_path / name).read_bytes())[1]])
                     for name in ("plain.y4m", "marked.y4m"))
    differ = (plain != marked).any(axis=0)
    rows, columns = np.nonzero(differ[:64 * 48].reshape(48, 64))
    assert len(plain) == 9 and not differ[64 * 48:].any()
    assert 0 < rows.max() <= 8 and 0 < columns.max() <= 10  # half of where the two letters end


@pytest.mark.parametrize("chain,message", [
    ("nothing", "'nothing' is no stage: expected decompress, scale:WIDTHxHEIGHT or the path"),
    ("./none.so", "./none.so: there is no such file"),
    ("./text.so", "./text.so: cannot be loaded: "),
    (PROGRAM, "cannot be loaded: "),
    (os.path.join(os.path.dirname(WATERMARK), "libplexa_common.so"),
     "has no entry point plexa_stage: PLEXA_STAGE(Class) is missing in it"),
    (WATERMARK + ":txt=3", "no argument 'txt'; there is text, size"),
    (WATERMARK + ":size=0", "size=0: expected a number from 1 to 100"),
    (WATERMARK + "+portrait", "pairs frames with sub inputs and metadata, of which a video has none"),
    (WATERMARK + " ! decompress", "watermark gives Nv12Venus 8x8 in graphics memory; decompress wants"
     " Nv12Ubwc 8x8 in graphics memory, or Tp10Ubwc 8x8 in graphics memory")])
def test_a_chain_that_cannot_be_says_why(tmp_path, chain, message):
    (tmp_path / "in.y4m").write_bytes(y4m(8, 8, greys(8, 8, 1)))
    (tmp_path / "text.so").write_text("no library")
    failed(1, message, "run", "in.y4m", "o.y4m", "--chain", chain, cwd=tmp_path)
    assert not (tmp_path / "o.y4m").exists()


def test_exercising_says_whether_a_promise_is_broken():
    done = ok("exercise", "--chain", WATERMARK, "--lives", 50, "--seed", 7, "--faults")
    assert "50 lives from seed 7" in done.out and "0 findings" in done.out
    ok("exercise", "--chain", WATERMARK, "--lives", 3, "--threads")
