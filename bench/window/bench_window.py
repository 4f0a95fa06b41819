#!/usr/bin/env python3
"""Figures of the window under a real X server (Xvfb), for the closing notes of the window's work.

- start: time from the process's start to the first frame of its window, over several runs (median);
  the program journals its first frame, whose time stamp is compared with the moment the process was
  started.
- idle: CPU of the idle program over a minute, first with a (simulated) tachograph found and nothing
  happening, then with none while it keeps scanning; and its memory (RSS) at each point.

Usage: bench/window/bench_window.py [build/bin] [--runs N] [--seconds S]
"""
import argparse
import datetime
import json
import os
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

TICKS = os.sysconf("SC_CLK_TCK")


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat") as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICKS  # utime + stime


def rss_mib(pid):
    with open(f"/proc/{pid}/status") as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) / 1024
    return 0.0


def children(pid):
    found = []
    for task in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{task}/children") as listing:
                found += [int(child) for child in listing.read().split()]
        except OSError:
            pass
    return found


def journal_records(log, pid):
    records = []
    try:
        with open(log, encoding="utf-8") as journal:
            for line in journal:
                try:
                    record = json.loads(line)
                except ValueError:
                    continue
                if record.get("pid") == pid:
                    records.append(record)
    except OSError:
        pass
    return records


def wait_for(condition, timeout):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    return None


def start_x():
    display = ":%d" % (90 + os.getpid() % 9)
    xvfb = subprocess.Popen(["Xvfb", display, "-screen", "0", "1280x800x24", "-nolisten", "tcp"],
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    time.sleep(1.0)
    return xvfb, display


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin", nargs="?", default=os.path.join(os.path.dirname(__file__), "../../build/bin"))
    parser.add_argument("--runs", type=int, default=7)
    parser.add_argument("--seconds", type=int, default=60)
    args = parser.parse_args()
    program = os.path.abspath(os.path.join(args.bin, "tachoria"))
    log = os.path.join(os.path.dirname(program), "Tachoria.log")
    runtime = tempfile.mkdtemp()
    os.chmod(runtime, 0o700)
    xvfb, display = start_x()
    environment = dict(os.environ, DISPLAY=display, QT_QPA_PLATFORM="xcb", XDG_RUNTIME_DIR=runtime)
    try:
        starts = []
        for _ in range(args.runs):
            started = datetime.datetime.now(datetime.timezone.utc)
            process = subprocess.Popen([program, "--ui-preview"], env=environment,
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            record = wait_for(lambda: next((r for r in journal_records(log, process.pid)
                                            if r.get("operation") == "first-frame"), None), 30)
            process.send_signal(signal.SIGTERM)
            process.wait(10)
            if not record:
                print("no first frame journalled", file=sys.stderr)
                return 1
            shown = datetime.datetime.fromisoformat(record["timestamp"].replace("Z", "+00:00"))
            starts.append((shown - started).total_seconds() * 1000)
        print("first frame after process start (ms): median %.0f, min %.0f, max %.0f over %d runs"
              % (statistics.median(starts), min(starts), max(starts), len(starts)))

        demo = subprocess.Popen([program, "--demo"], env=environment,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        if not wait_for(lambda: any(r.get("category") == "device" and r.get("operation") == "found"
                                    for r in journal_records(log, demo.pid)), 30):
            print("the demonstration found no tachograph", file=sys.stderr)
            return 1
        time.sleep(5)
        for label in ("tachograph found", "no tachograph, scanning"):
            if label.startswith("no"):
                for child in children(demo.pid):
                    os.kill(child, signal.SIGKILL)  # the simulator goes: the port is gone
                time.sleep(5)
            before = cpu_seconds(demo.pid)
            time.sleep(args.seconds)
            used = cpu_seconds(demo.pid) - before
            print("%s: CPU %.2f %% of one core over %d s; RSS %.1f MiB"
                  % (label, 100 * used / args.seconds, args.seconds, rss_mib(demo.pid)))
        demo.send_signal(signal.SIGTERM)
        demo.wait(15)
        return 0
    finally:
        xvfb.terminate()
        xvfb.wait()
        shutil.rmtree(runtime, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
