#!/usr/bin/env python3
"""Measures the player beside a peer, in turn within one run, and prints one table. Usage: table.py BUILD_DIR

Preparation: `seconds` as tolvane-probe reports it (from opening the file to the finished block, without the digest),
beside the whole run of the peer's program; WAV beside a bare read into huge pages, timed in the same way. Rendering: both loops in one benchmark program. Medians of the pairs.
Discovery: whole runs, the folders' names in the system's memory. The playlist: times of our own, with no peer beside
them. Memory: the most that a run had resident. The window: processor time of its thread, drawn without a
graphics card; its pauses in wall time.
"""

import json
import pathlib
import statistics
import subprocess
import sys
import time

PAIRS = 7
TRACK_SECONDS = 600


def run(*command, **options):
    return subprocess.run([str(word) for word in command], check=True, capture_output=True, **options)


def make_material(folder):
    """Ten minutes of stereo at 44.1 kHz: tones over pink noise, as WAV, FLAC and MP3."""
    folder.mkdir(parents=True, exist_ok=True)
    wav, flac, mp3 = (folder / f"track.{kind}" for kind in ("wav", "flac", "mp3"))
    if not wav.exists():
        unfinished = folder / "partial.wav"
        run("sox", "-R", "-n", "-r", 44100, "-b", 16, "-c", 2, unfinished, "synth", TRACK_SECONDS, "pinknoise", "synth",
            TRACK_SECONDS, "sine", "mix", 220, "sine", "mix", 331, "gain", "-n", -3)
        unfinished.rename(wav)
    partial = folder / "partial"  # a run that is interrupted leaves no half of a track under its name
    if not flac.exists():
        run("flac", "--silent", "--force", "-8", "-o", partial, wav)
        partial.rename(flac)
    if not mp3.exists():
        run("lame", "--quiet", "-V", 0, wav, partial)
        partial.rename(mp3)
    return wav, flac, mp3, make_high_resolution(folder)


def make_high_resolution(folder):
    """Five minutes of stereo at 192 kHz and 24 bit."""
    flac = folder / "high-resolution.flac"
    if not flac.exists():
        wav, partial = folder / "partial.wav", folder / "partial"
        run("sox", "-R", "-n", "-r", 192000, "-b", 24, "-c", 2, wav, "synth", 300, "pinknoise", "synth", 300, "sine", "mix",
            220, "gain", "-n", -3)
        run("flac", "--silent", "--force", "-8", "-o", partial, wav)
        wav.unlink()
        partial.rename(flac)
    return flac


def prepare_seconds(probe, track):
    line = json.loads(run(probe, "prepare", track).stdout)
    if "error" in line:
        sys.exit(f"{track.name}: {line['error']}")
    return line["seconds"]


def peer_seconds(*command):
    begin = time.monotonic()
    run(*command)
    return time.monotonic() - begin


def peak_mebibytes(*command):
    """By way of a small program: the system counts what was resident in a process before it became the command, too."""
    return int(run("/usr/bin/time", "--quiet", "--format", "%M", *command).stderr.split()[-1]) / 1024


def memory_row(name, ours, peer, theirs):
    mine, peers = peak_mebibytes(*ours), peak_mebibytes(*theirs)
    return f"{name}, peak memory", f"{mine:.0f} MiB", peer, f"{peers:.0f} MiB", f"{mine / peers:.2f}"


def bare_read_seconds(*command):
    return float(run(*command).stdout) / 1000


def preparation_rows(probe, bare_read, tracks):
    wav, flac, mp3, high_resolution = tracks
    # Without the third option, root's flac would give /dev/null the mode and the times of the file.
    decode = ("flac", "--silent", "--force", "--no-preserve-modtime", "--decode", "-o", "/dev/null")
    peers = [
        ("prepare FLAC, 10 min", flac, "flac -d", (*decode, flac)),
        ("prepare FLAC, 5 min of 192/24", high_resolution, "flac -d", (*decode, high_resolution)),
        ("prepare MP3, 10 min", mp3, "mpg123", ("mpg123", "-q", "-e", "f32", "-w", "/dev/null", mp3)),
        ("prepare WAV, 10 min", wav, "bare read", (bare_read, wav)),
    ]
    for name, track, peer, command in peers:
        measure_peer = bare_read_seconds if command[0] == bare_read else peer_seconds
        prepare_seconds(probe, track)
        measure_peer(*command)
        pairs = [(prepare_seconds(probe, track), measure_peer(*command)) for _ in range(PAIRS)]
        ours, theirs = (statistics.median(column) for column in zip(*pairs))
        ratio = statistics.median(a / b for a, b in pairs)
        yield name, f"{ours * 1000:.0f} ms", peer, f"{theirs * 1000:.0f} ms", f"{ratio:.2f}"
        yield memory_row(name, (probe, "prepare", track), peer, command)


def waveform_rows(probe, tracks):
    """The whole runs of both programs, each over the whole file."""
    wav, flac, mp3, _ = tracks
    decode = ("flac", "--silent", "--force", "--no-preserve-modtime", "--decode", "-o", "/dev/null", flac)
    peers = [("WAV", wav, "cat", ("cat", wav)), ("FLAC", flac, "flac -d", decode),
             ("MP3", mp3, "mpg123", ("mpg123", "-q", "-e", "f32", "-w", "/dev/null", mp3))]
    for name, track, peer, command in peers:
        ours = (probe, "waveform", track)
        for warm_up in (ours, command):
            peer_seconds(*warm_up)
        pairs = [(peer_seconds(*ours), peer_seconds(*command)) for _ in range(PAIRS)]
        mine, theirs = (statistics.median(column) for column in zip(*pairs))
        ratio = statistics.median(a / b for a, b in pairs)
        yield f"waveform {name}, 10 min", f"{mine * 1000:.0f} ms", peer, f"{theirs * 1000:.0f} ms", f"{ratio:.2f}"


def render_rows(bench):
    """Pairs the benchmarks NAME and NAME/memcpy of the render benchmark by their names."""
    output = run(bench, "--benchmark_format=json", "--benchmark_filter=/(int16|int24|int32|float32)$", "--benchmark_repetitions=7",
                 "--benchmark_report_aggregates_only=true", "--benchmark_enable_random_interleaving=true").stdout
    medians = {entry["run_name"]: entry["cpu_time"] for entry in json.loads(output)["benchmarks"]
               if entry.get("aggregate_name") == "median"}
    for name, nanoseconds in sorted(medians.items()):
        if name.startswith("memcpy/"):
            continue
        layout = name.split("/", 1)[1]
        peer = medians[f"memcpy/{layout}"]
        yield name.replace("/", " "), f"{nanoseconds:.0f} ns", "memcpy", f"{peer:.0f} ns", f"{nanoseconds / peer:.2f}"


def delivery_rows(bench):
    """The check of what was handed to the device, beside a hundredth of a core."""
    for line in run(bench).stdout.splitlines():
        seen = json.loads(line)
        yield (f"check a second of {seen['what']}", f"{seen['milliseconds']:.2f} ms", "1 % of a core", "10 ms",
               f"{seen['milliseconds'] / 10:.2f}")


def make_collection(folder, files=100_000, files_a_folder=100):
    """Empty files that are named like music."""
    finished = folder / "finished"
    if not finished.exists():
        for number in range(0, files, files_a_folder):
            album = folder / "music" / f"Artist and album {number // files_a_folder}"
            album.mkdir(parents=True, exist_ok=True)
            for track in range(number, number + files_a_folder):
                (album / f"Track of usual name {track}.flac").touch()
        finished.touch()
    return folder / "music"


def discovery_rows(probe, collection):
    """The whole runs of both programs; ours also sorts, and prints JSON."""
    ours, theirs = (probe, "discover", collection), ("find", collection, "-type", "f")
    for command in (ours, theirs):
        peer_seconds(*command)
    pairs = [(peer_seconds(*ours), peer_seconds(*theirs)) for _ in range(PAIRS)]
    mine, peers = (statistics.median(column) for column in zip(*pairs))
    ratio = statistics.median(a / b for a, b in pairs)
    name = "discover 100,000 files"
    yield name, f"{mine * 1000:.0f} ms", "find", f"{peers * 1000:.0f} ms", f"{ratio:.2f}"
    yield memory_row(name, ours, "find", theirs)


def session_rows(bench):
    """What a playlist costs: how long the player's thread is held, or with "stored" until the disk has it. No peer."""
    output = run(bench, "--benchmark_format=json", "--benchmark_min_time=0.2").stdout
    for entry in json.loads(output)["benchmarks"]:
        if "error_message" in entry:
            sys.exit(f"{entry['name']}: {entry['error_message']}")
        name, entries, _ = entry["name"].split("/")
        milliseconds = entry["real_time"] * {"us": 0.001, "ms": 1}[entry["time_unit"]]
        yield f"{name}, {int(entries):,} entries", f"{milliseconds:.3g} ms", "", "", ""


def window_rows(bench):
    """What a frame costs while a long list scrolls, beside the time that a screen of 60 Hz gives it."""
    frame = 1000 / 60
    for line in run(bench).stdout.splitlines():
        sizes = json.loads(line)
        for what, key in (("median", "median"), ("99 of 100", "percentile99")):
            yield (f"scroll 100,000 rows at {sizes['width']} x {sizes['height']}, a frame, {what}", f"{sizes[key]:.1f} ms",
                   "60 Hz", f"{frame:.1f} ms", f"{sizes[key] / frame:.2f}")


def make_long_tracks(folder):
    """A FLAC of 90 minutes at 96 kHz and 24 bit, and one of 5 minutes at 44.1 kHz and 16 bit."""
    for name, seconds, rate, bits in (("long.flac", 5400, 96000, 24), ("short.flac", 300, 44100, 16)):
        if not (folder / name).exists():
            unfinished = folder / f"partial-{name}"
            run("sox", "-R", "-n", "-r", rate, "-b", bits, "-c", 2, unfinished, "synth", seconds, "sine", 220, "gain", -6)
            unfinished.rename(folder / name)
    return folder / "long.flac", folder / "short.flac"


def pause_rows(bench, probe, tracks, collection):
    """How long the window's thread is away from its event loop, beside what a user would notice. From a click to the
    sound of a track, on a simulated device, beside the preparation of the same track alone."""
    alone = statistics.median(prepare_seconds(probe, tracks[1]) for _ in range(PAIRS)) * 1000
    for line in run(bench, *tracks, collection).stdout.splitlines():
        if not line.startswith(b"{"):
            continue  # the empty files of the collection have no waveform, and the window says so
        seen = json.loads(line)
        if seen["what"].startswith("click to sound"):
            yield (seen["what"], f"{seen['milliseconds']:.0f} ms", "prepare it", f"{alone:.0f} ms",
                   f"{seen['milliseconds'] / alone:.2f}")
        for what, limit in (("longest", 50), ("median", 5)):
            yield (f"{seen['what']} ({seen['milliseconds']:.0f} ms): a turn of the window, {what} of {seen['turns']}",
                   f"{seen[what]:.1f} ms", "limit", f"{limit} ms", f"{seen[what] / limit:.2f}")


def make_album(folder):
    """Tracks of 5 and of 60 minutes whose samples are never 0, by (minutes, rate, bits), two of the first kind."""
    tracks = {}
    for minutes in (5, 60):
        for name, rate, bits in (("first", 44100, 16), ("same", 44100, 16), ("deeper", 44100, 24), ("faster", 48000, 16)):
            track = tracks[minutes, name] = folder / f"{name}-{minutes}.flac"
            if not track.exists():
                unfinished = folder / f"partial-{track.name}"
                run("sox", "-R", "-n", "-r", rate, "-b", bits, "-c", 2, unfinished, "synth", minutes * 60, "sine", 220, "gain",
                    -12, "dcshift", 0.5)
                unfinished.rename(track)
    return tracks


def silence_rows(bench, tracks):
    """Between two tracks of a playlist. The output stays open where the format is the same or carries the other depth."""
    pairs = []
    for minutes in (5, 60):
        for name, what in (("same", "same format"), ("deeper", "16 and 24 bit"), ("faster", "44.1 and 48 kHz")):
            pairs += [f"FLAC of {minutes} min, {what}", tracks[minutes, "first"], tracks[minutes, name]]
    for line in run(bench, *pairs).stdout.splitlines():
        seen = json.loads(line)
        what = f"silence between tracks, {seen['what']}"
        if "same" in seen["what"]:
            yield (what, f"{seen['silentFrames']} frames", "limit", "0 frames", "")
        else:
            yield (what, f"{seen['milliseconds']:.0f} ms", "limit", "150 ms and the drain", f"{seen['milliseconds'] / 150:.2f}")


def life_rows(build, track):
    """Start and idle cost of whole programs, on an X server, a session bus and a sound server of their own."""
    script = pathlib.Path(__file__).resolve().with_name("window_life.py")
    output = run("dbus-run-session", "--", "xvfb-run", "--auto-servernum", "--server-args=-screen 0 1600x1200x24", script, build,
                 track).stdout
    for seen in map(json.loads, output.splitlines()):
        what, ours, unit = seen.pop("what"), seen.pop("ours"), seen.pop("unit")
        for peer, theirs in seen.items() or ((("", None),)):
            yield (what, f"{ours:.3g} {unit}", peer, f"{theirs:.3g} {unit}" if theirs is not None else "",
                   f"{ours / theirs:.2f}" if theirs else "")


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    rows = [("what", "ours", "peer", "peer's", "ours / peer's")]
    probe, material = build / "bin/tolvane-probe", make_material(build / "bench")
    rows += preparation_rows(probe, build / "bin/bench_read", material)
    rows += waveform_rows(probe, material)
    rows += render_rows(build / "bin/bench_render")
    rows += delivery_rows(build / "bin/bench_delivery")
    rows += discovery_rows(probe, make_collection(build / "bench/collection"))
    rows += session_rows(build / "bin/bench_session")
    rows += window_rows(build / "bin/bench_window")
    rows += silence_rows(build / "bin/bench_silence", make_album(build / "bench"))
    rows += pause_rows(build / "bin/bench_pauses", probe, make_long_tracks(build / "bench"),
                       make_collection(build / "bench/collection"))
    rows += life_rows(build, material[1])
    widths = [max(len(row[i]) for row in rows) for i in range(5)]
    for number, row in enumerate(rows):
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
        if number == 0:
            print("  ".join("-" * width for width in widths))


if __name__ == "__main__":
    main()
