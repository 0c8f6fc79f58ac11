"""Pictures of single frames: their colours, their place in the clip and in the frame."""
import json
import os

import numpy as np
import pytest

from plexa import clip, failed, grey, ok, pixels, run, size, y4m

WEIGHTS = {"601": (0.299, 0.114), "709": (0.2126, 0.0722)}


def formula(y, cb, cr, weights, full):
    red, blue = WEIGHTS[weights]
    luma = y / 255 if full else (y - 16) / 219
    cb, cr = ((value - 128) / (255 if full else 224) for value in (cb, cr))
    r, b = luma + 2 * (1 - red) * cr, luma + 2 * (1 - blue) * cb
    return 255 * np.clip([r, (luma - red * r - blue * b) / (1 - red - blue), b], 0, 1)


@pytest.mark.parametrize("engine", ["auto", "capture"])
@pytest.mark.parametrize("matrix,color_range,height,weights,auto", [
    ("smpte170m", "tv", 48, "601", "gl"), ("bt470bg", "pc", 48, "601", "capture"),
    ("bt709", "tv", 48, "709", "gl"), ("bt709", "pc", 48, "709", "capture"),
    (None, None, 48, "601", "gl"), (None, None, 720, "709", "gl")])
def test_it_follows_the_color_tags(tmp_path, matrix, color_range, height, weights, auto, engine):
    tags = ["-colorspace", matrix, "-color_range", color_range] if matrix else []
    yuv = (110, 100, 170)
    source = clip(tmp_path / "in.mkv", 64, height, yuv=yuv, output=tags)
    done = ok("snapshot", source, tmp_path / "o.png", "--engine", engine)
    assert "engine " + (auto if engine == "auto" else engine) in done.out
    assert "note:" not in done.out
    expected = formula(*yuv, weights, color_range == "pc")
    assert pixels(tmp_path / "o.png")[20, 20] == pytest.approx(expected, abs=2.5)


def white_pq(path, peak):
    """58 % of PQ, 203 cd/m2: what SDR calls white."""
    return clip(path, format="yuv420p10le", yuv=(143, 128, 128), output=[
        "-c:v", "libx265", "-color_primaries", "bt2020", "-color_trc", "smpte2084", "-colorspace",
        "bt2020nc", "-color_range", "tv", "-x265-params",
        "log-level=none:hdr10=1:master-display=G(8500,39850)B(6550,2300)R(35400,14600)"
        f"WP(15635,16450)L({peak}0000,0):max-cll=0,0"])


# The curve of docs/hdr.md: the brighter the display, the less room is left for white.
@pytest.mark.parametrize("peak,white", [(1000, 0.86), (4000, 0.78), (10000, 0.74)])
def test_hdr_is_mapped_by_its_mastering_display(tmp_path, peak, white):
    done = ok("snapshot", white_pq(tmp_path / "in.mp4", peak), tmp_path / "o.png")
    assert "engine capture" in done.out
    assert pixels(tmp_path / "o.png")[20, 20] == pytest.approx([white * 255] * 3, abs=4.5)


def test_it_says_when_an_engine_cannot_follow_the_tags(tmp_path):
    source = white_pq(tmp_path / "in.mp4", 1000)
    done = ok("snapshot", source, tmp_path / "o.png", "--engine", "gl")
    assert f"note: {source}: engine gl shows its colours wrong" in done.out
    assert pixels(tmp_path / "o.png")[20, 20] == pytest.approx([grey(143)] * 3, abs=2)


def test_it_captures_without_a_gpu_unless_told_not_to(tmp_path):
    source = clip(tmp_path / "in.mkv", yuv=(110, 100, 170), output=["-color_range", "tv"])
    blind = {**os.environ, "__EGL_VENDOR_LIBRARY_FILENAMES": "/dev/null"}
    done = ok("snapshot", source, tmp_path / "o.png", env=blind)
    assert "engine capture; " in done.out
    assert ("note: engine gl cannot start here (OpenGLHelper: eglGetDisplay failed); engine capture "
            "in its place") in done.out
    expected = formula(110, 100, 170, "601", False)
    assert pixels(tmp_path / "o.png")[20, 20] == pytest.approx(expected, abs=2.5)
    failed(1, "engine gl cannot start here (OpenGLHelper: ", "snapshot", source,
           tmp_path / "o.png", "--engine", "gl", env=blind)


@pytest.mark.parametrize("at,index", [("0", 0), ("0.04", 1), ("0.0404", 1), ("0.05", 2), ("0.12", 3),
                                      ("0.16", 4), ("1e-1", 3), ("00:00:00.05", 2), ("0:0.12", 3)])
def test_it_takes_the_first_frame_at_or_after_a_time(tmp_path, at, index):
    # Frame i is shown i * 40 ms after the first one, which comes at 1000 ms.
    source = clip(tmp_path / "in.mkv", count=5, ticks=range(1000, 1200, 40), output=["-copyts"])
    assert ok("snapshot", source, tmp_path / "o.png", "--at", at, "--quiet").out == ""
    assert (pixels(tmp_path / "o.png")[20, 20] == grey(40 + index)).all()


@pytest.mark.parametrize("engine", ["gl", "capture"])
@pytest.mark.parametrize("crop,asked,made", [
    ("0,0,32,32", "32x32", (32, 32)), ("8,16,8,8", "8x8", (8, 8)), ("17,9,7,7", "-1x7", (7, 7)),
    ("24,24,8,4", "32x-1", (32, 16))])
def test_it_shows_the_crop_at_the_size_asked_for(tmp_path, engine, crop, asked, made):
    # 16 cells of 8x8 pixels, each with a grey of its own.
    luma = np.kron(30 + 10 * np.arange(16).reshape(4, 4), np.ones((8, 8)))
    frame = luma.astype(np.uint8).tobytes() + bytes([128]) * 512
    done = ok("snapshot", "-", tmp_path / "o.png", "--engine", engine, "--crop", crop, "--size",
              asked, "--json", input=y4m(32, 32, [frame]).replace(b" A4:3", b""))
    x, y = (int(number) for number in crop.split(",")[:2])
    assert size(tmp_path / "o.png") == made
    assert pixels(tmp_path / "o.png")[2, 2] == pytest.approx([grey(luma[y, x])] * 3, abs=2)
    report = json.loads(done.out)
    assert (report["engine"], report["crop"][:2], report["seconds"]) == (engine, [x, y], 0)


# H.264 codes whole blocks of 16x16: what is beyond the picture must not show.
def test_it_leaves_out_what_the_stream_crops_away(tmp_path):
    source = clip(tmp_path / "in.mkv", 50, 38, codec="libx264")
    for engine in ("gl", "capture"):
        ok("snapshot", source, tmp_path / "o.png", "--engine", engine)
        assert size(tmp_path / "o.png") == (50, 38)
    failed(1, "reaches beyond the picture of 50x38", "snapshot", source, tmp_path / "p.png",
           "--crop", "40,30,11,8")


@pytest.mark.parametrize("status,message,options", [
    (2, "--at: '-1' is not a time", ["--at", "-1"]), (2, "'nan' is not a time", ["--at", "nan"]),
    (2, "'1s' is not a time: expected seconds", ["--at", "1s"]),
    (2, "'1:x' is not a time", ["--at", "1:x"]),
    (2, "'cl' is not an engine: expected auto, gl or capture", ["--engine", "cl"]),
    (2, "--size: '1x1' is not a size", ["--size", "1x1"]),
    (2, "'1,2,3' is not a crop: expected X,Y,W,H", ["--crop", "1,2,3"]),
    (2, "is not a crop", ["--crop", "0,0,0,8"]), (2, "is not a crop", ["--crop", "-1,0,8,8"]),
    (2, "is not a crop", ["--crop", "0,0,8,8,8"]),
    (2, "is not a crop", ["--crop", "0,0,99999999999,8"]), (2, "--frames", ["--frames", "1"]),
    (1, "--at: the last frame is at 0.080 s, before 0.200 s", ["--at", "0.2"]),
    (1, "--crop: 60,0,8,8 reaches beyond the picture of 64x48", ["--crop", "60,0,8,8"]),
    (1, "the aspect of 64x2 makes 16x1", ["--crop", "0,0,64,2", "--size", "16x-1"])])
def test_errors_are_one_line_and_leave_nothing_behind(tmp_path, status, message, options):
    source = clip(tmp_path / "in.mkv", count=3)
    failed(status, message, "snapshot", source, tmp_path / "o.png", *options)
    assert os.listdir(tmp_path) == ["in.mkv"]


def test_outputs_must_be_pictures_and_inputs_be_there(tmp_path):
    source = clip(tmp_path / "in.mkv")
    assert run("snapshot", source, tmp_path / "o.jpg").returncode == 2
    assert run("snapshot", source).returncode == 2
    done = failed(1, "No such file", "snapshot", tmp_path / "no.mkv", tmp_path / "o.png", "--json")
    assert json.loads(done.out)["exit_status"] == 1
