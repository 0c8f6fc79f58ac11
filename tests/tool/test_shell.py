"""Each way to fail: its exit status, its one line, nothing left behind; and signals."""
import json
import os
import resource
import select
import signal
import subprocess
import time

import pytest

from plexa import PROGRAM, clip, failed, ffmpeg, greys, noise, ok, probe, run, times, trace_of, y4m

VIDEO = y4m(64, 48, greys(64, 48, 60))


@pytest.fixture(name="source")
def make_source(tmp_path):
    (tmp_path / "in.y4m").write_bytes(y4m(8, 8, greys(8, 8, 2)))
    return tmp_path / "in.y4m"


@pytest.mark.parametrize("message,arguments", [
    ("a command is missing", []), ("shrink: there is no such command (see plexa --help)", ["shrink"]),
    ("did you mean scale?", ["scael"]), ("INPUT", ["scale"]), ("OUTPUT", ["scale", "IN"]),
    ("--size is required (see plexa scale --help)", ["scale", "IN", "o.y4m"]),
    ("--size", ["scale", "IN", "o.y4m", "--size"]),
    ("did you mean --size?", ["scale", "IN", "o.y4m", "--sise", "8x8"]),
    *[(f"--size: '{size}' is not a size", ["scale", "IN", "o.y4m", "--size", size])
      for size in ("0x0", "-5x10", "1x1", "100000x100000", "99999999999x8", "abc", "8x8x8", "8",
                   "-1x-1")],
    ("each side 2 to 16384", ["scale", "IN", "o.y4m", "--size", "16385x8"]),
    ("at most 134217728 pixels", ["scale", "IN", "o.y4m", "--size", "16384x16384"]),
    ("--frames", ["scale", "IN", "o.y4m", "--size", "8x8", "--frames", "0"]),
    ("--frames", ["scale", "IN", "o.y4m", "--size", "8x8", "--frames", "x"]),
    ("--colour", ["scale", "IN", "o.y4m", "--size", "8x8", "--colour"]),
    ("--sheet: needs a .png", ["scale", "IN", "o.y4m", "--size", "8x8", "--sheet", "4x3"]),
    ("is not a layout", ["scale", "IN", "a.png", "--size", "8x8", "--sheet", "0x3"]),
    ("OUTPUT: 'a.avi'", ["scale", "IN", "a.avi", "--size", "8x8"]),
    (".mp4, .mkv, .y4m, .png or -", ["scale", "IN", "plain", "--size", "8x8"]),
    ("--json: standard output", ["scale", "IN", "-", "--size", "8x8", "--json"]),
    ("is the input itself", ["scale", "IN", "IN", "--size", "8x8"]),
    ("--trace: ", ["scale", "IN", "o.y4m", "--size", "8x8", "--trace", "IN"]),
    ("OUTPUT: 'a.png' is no .svg", ["trace", "IN", "a.png"]),
    ("--chain is required", ["exercise"]),
    *[(error, ["run", "IN", "o.y4m", "--chain", chain]) for chain, error in (
        ("scale:0x3", "'0x3' is not a size"), ("decompress ! ", "a stage is missing"),
        ("decompress+best", "'best' is no item generator"))]])
def test_usage_errors_have_status_two_and_name_the_option(tmp_path, source, message, arguments):
    arguments = [source if argument == "IN" else argument for argument in arguments]
    done = failed(2, message, *arguments, cwd=tmp_path)
    assert done.err.endswith("--help)\n")
    assert done.out == "" if "--json" not in arguments else json.loads(done.out)["exit_status"] == 2
    assert os.listdir(tmp_path) == ["in.y4m"]


def test_help_and_version_are_no_errors():
    shown = ok("scale", "--help").out
    for word in ("INPUT", "OUTPUT", "--size", "--frames", "--sheet", "--json", "--quiet", "--verbose",
                 "--keep-times", "--strict", "--filters", "--no-filters", "2 to 16384",
                 "Exit status: 0"):
        assert word in shown
    assert ok("--version").out.startswith("plexa ")


@pytest.mark.parametrize("name,cause,content", [
    ("missing.mp4", "No such file or directory", None), ("notes.ans", "is text, not video", b"Milk.\n"),
    ("notes.txt", "cannot be read", b"Buy milk.\nCall home.\n"), ("empty.mp4", "cannot be read", b""),
    ("sound.wav", "has no video stream", "sound"), ("folder.mp4", "is a directory", "folder"),
    ("no-index.mp4", "moov atom not found", "half")])
def test_what_is_no_video_is_an_error(tmp_path, name, cause, content):
    path = tmp_path / name
    if content == "sound":
        ffmpeg("-f", "lavfi", "-i", "anullsrc", "-t", 0.1, path)
    elif content == "folder":
        path.mkdir()
    elif content == "half":
        whole = clip(tmp_path / "w.mp4", count=40, codec="mjpeg", format="yuvj420p").read_bytes()
        path.write_bytes(whole[:len(whole) // 2])
    elif content is not None:
        path.write_bytes(content)
    before = sorted(os.listdir(tmp_path))
    done = failed(1, cause, "scale", path, tmp_path / "o.mp4", "--size", "32x24")
    assert done.err.startswith(f"plexa: {path}: ")
    assert sorted(os.listdir(tmp_path)) == before
    failed(1, "standard input: cannot be read", "scale", "-", tmp_path / "o.mp4", "--size", "32x24")


@pytest.mark.parametrize("name,cause,dropped", [
    ("cut.mp4", "cut short", 2000), ("cut.mkv", "cut short", 2000),
    ("cut.y4m", "ends inside frame 60", 100), ("-", "standard input: ends inside frame 60", 100)])
def test_what_is_cut_short_goes_as_far_as_it_can(tmp_path, name, cause, dropped):
    content = VIDEO
    path = name if name == "-" else tmp_path / name
    if name in ("cut.mp4", "cut.mkv"):
        faststart = ["-movflags", "faststart"] if name == "cut.mp4" else []
        content = clip(path, count=60, codec="mjpeg", format="yuvj420p",
                       output=faststart).read_bytes()
    if name != "-":
        path.write_bytes(content[:-dropped])
    job = ["scale", path, tmp_path / "o.mkv", "--size", "32x24"]
    stdin = content[:-dropped] if name == "-" else b""
    done = ok(*job, "--json", input=stdin)
    summary = json.loads(done.out)
    assert summary["damage"]["cut_short"] and cause in str(summary["notes"])
    assert 50 < summary["frames"] < 61
    os.unlink(tmp_path / "o.mkv")
    failed(1, cause, *job, "--strict", input=stdin)
    assert not (tmp_path / "o.mkv").exists()


def test_sizes_that_do_not_fit(tmp_path):
    wide = tmp_path / "wide.y4m"
    wide.write_bytes(y4m(400, 2, greys(400, 2, 1)))
    failed(1, "--size: the aspect of 400x2 makes 50x0", "scale", wide, tmp_path / "o.mp4", "--size",
           "50x-1")
    failed(1, "o.mp4: H.264 and HEVC cannot hold the odd size 51x33", "scale", wide,
           tmp_path / "o.mp4", "--size", "51x33")
    for output, height in (("o.mp4", 182), ("o.mkv", 182), ("o.y4m", 181)):
        ok("scale", "-", tmp_path / output, "--size", "322x-1", input=y4m(64, 36, greys(64, 36, 1)))
        assert probe(tmp_path / output)["height"] == height


def test_pipes_hold_whatever_ffmpeg_reads(tmp_path):
    source = tmp_path / "in.mp4"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=s=320x240", "-frames:v", 9, "-qp", 1, "-g", 1, source)
    for form in (["-f", "mpegts"], ["-f", "matroska"], ["-movflags", "frag_keyframe", "-f", "mp4"]):
        piped = ffmpeg("-i", source, "-c", "copy", *form, "-")
        ok("scale", "-", tmp_path / "o.mp4", "--size", "32x24", input=piped)
        assert len(times(tmp_path / "o.mp4")) == 9
    job = [PROGRAM, "scale", "-", tmp_path / "p.mp4", "--size", "32x24"]
    failed(1, "a pipe cannot go back", *job[1:], input=source.read_bytes())
    with open(source, "rb") as opened:  # a file on standard input can
        assert subprocess.run(job, stdin=opened, capture_output=True).returncode == 0


def test_bad_outputs_leave_nothing_behind(tmp_path, source):
    (tmp_path / "folder.y4m").mkdir()
    (tmp_path / "full.y4m").symlink_to("/dev/full")
    before = sorted(os.listdir(tmp_path))
    for name, cause in (("missing/o.y4m", "No such file or directory"),
                        ("in.y4m/o.mp4", "Not a directory"), ("folder.y4m", "Is a directory"),
                        ("full.y4m", "No space left on device")):
        output = tmp_path / name
        done = failed(1, cause, "scale", source, output, "--size", "64x48")
        assert done.err == f"plexa: {output}: cannot be written: {cause}\n"
    failed(1, "--trace: /missing/t: No such file or directory", "scale", source, tmp_path / "o.mp4",
           "--size", "64x48", "--trace", "/missing/t")
    for content, cause in ((b"{", "no JSON at byte"), (b"[1]", "has no \"traceEvents\""),
                           (b'{"traceEvents":[3,{"ph":"E","ts":"x"},{"ph":"B","ts":1}]}',
                            "no stage works on a frame")):
        source.write_bytes(content)
        failed(1, cause, "trace", source, tmp_path / "o.svg")
    assert sorted(os.listdir(tmp_path)) == before


def test_a_trace_that_grows_too_large_ends_early(tmp_path):
    limit = (64 * 1024, 64 * 1024)
    done = ok("scale", "-", tmp_path / "o.mkv", "--size", "64x48", "--trace", tmp_path / "t",
              input=y4m(64, 48, greys(64, 48, 200)),
              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, limit))
    assert done.err == f"plexa: {tmp_path}/t: the trace ends early: File too large\n"
    trace_of(tmp_path / "t")  # what is there is whole


@pytest.mark.parametrize("name", ["o.y4m", "o.mp4", "o.mkv", "o.png"])
def test_output_that_grows_too_large_is_removed(tmp_path, name):
    (tmp_path / name).write_bytes(b"the one before")
    # Graphics buffers are files to the system, too: these are smaller.
    limit = (64 * 1024, 64 * 1024)
    sheet = ["--sheet", "10x10"] if name == "o.png" else []
    failed(1, f"{name}: cannot be written: File too large", "scale", "-", tmp_path / name, "--size",
           "64x48", *sheet, input=y4m(64, 48, noise(64, 48, 8, 200)),
           preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, limit))
    assert os.listdir(tmp_path) == [name]
    assert (tmp_path / name).read_bytes() == b"the one before"


def test_lost_output_is_an_error(tmp_path, source):
    job = [PROGRAM, "scale", source, tmp_path / "o.mkv", "--size", "8x8"]
    for shell in ("exec \"$@\" --json >/dev/full", "exec \"$@\" >&-", "exec \"$1\" --help >/dev/full"):
        done = subprocess.run(["sh", "-c", shell, "sh", *job], capture_output=True)
        assert done.returncode == 1, shell
        assert b"standard output: cannot be written" in done.stderr
    assert subprocess.run(["sh", "-c", 'exec "$@" --quiet >&-', "sh", *job]).returncode == 0
    reader, writer = os.pipe()
    os.close(reader)
    done = subprocess.run([PROGRAM, "scale", "-", "-", "--size", "64x48"], input=VIDEO,
                          stdout=writer, stderr=subprocess.PIPE)
    assert done.stderr == b"plexa: standard output: cannot be written: Broken pipe\n"
    assert done.returncode == 1


def start(*arguments, **options):
    return subprocess.Popen([PROGRAM, *map(str, arguments)], stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)


def wait_for_file(folder):
    while not os.listdir(folder):
        time.sleep(0.01)


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_interrupted_while_it_waits_for_input(tmp_path, tmp_path_factory, number):
    trace = tmp_path_factory.mktemp("trace") / "t"
    process = start("scale", "-", tmp_path / "o.mp4", "--size", "64x48", "--trace", trace)
    process.stdin.write(VIDEO)
    process.stdin.flush()
    wait_for_file(tmp_path)
    process.send_signal(signal.SIGUSR1)
    assert b"APipeDecompress" in process.stderr.readline()
    process.send_signal(number)
    assert process.wait(60) == -number  # so that a loop in a shell ends
    expected = f"plexa: {tmp_path}/o.mp4: interrupted before it was complete\n"
    assert process.stderr.read().decode().endswith(expected)
    assert os.listdir(tmp_path) == []
    assert trace_of(trace)[0] == "decode"


def test_interrupted_while_nobody_reads_its_output(tmp_path):
    (tmp_path / "in.y4m").write_bytes(y4m(320, 240, greys(320, 240, 60)))
    process = start("scale", tmp_path / "in.y4m", "-", "--size", "320x240")
    assert select.select([process.stdout], [], [], 60)[0]
    process.send_signal(signal.SIGINT)
    assert process.wait(60) == -signal.SIGINT
    assert process.stderr.read() == b"plexa: standard output: interrupted before it was complete\n"


def test_a_signal_that_was_ignored_stays_ignored(tmp_path):
    ignore = lambda: [signal.signal(number, signal.SIG_IGN) for number in (signal.SIGHUP, signal.SIGINT)]
    process = start("scale", "-", tmp_path / "o.mp4", "--size", "64x48", preexec_fn=ignore)
    process.stdin.write(VIDEO)
    process.stdin.flush()
    wait_for_file(tmp_path)
    for number in (signal.SIGHUP, signal.SIGINT):
        process.send_signal(number)
    process.communicate()
    assert process.returncode == 0 and len(times(tmp_path / "o.mp4")) == 60
    assert run("scale", tmp_path / "o.mp4", tmp_path / "p.mp4", "--size", "8x8").returncode == 0
