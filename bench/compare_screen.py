"""A screen whose pixels can be read, and players that run on it, measured."""

import collections
import os
import re
import signal
import struct
import subprocess
import time

# All that were started here and may still run.
STARTED = []

# Milliseconds to the first picture, seconds of processor time, MiB at their peak.
Result = collections.namedtuple("Result", "first processor memory")


class Screen:
    """Xvfb whose pixels are a file that can be read at any time."""

    def __init__(self, folder, width, height):
        self.width, self.height = width, height
        self.file = os.path.join(folder, "Xvfb_screen0")
        read, write = os.pipe()
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", f"{width}x{height}x24", "-fbdir", folder, "-nolisten",
             "tcp", "-noreset"], pass_fds=[write], stderr=subprocess.DEVNULL)
        os.close(write)
        STARTED.append(self.process)
        # The number comes in pieces, and Xvfb dies when nobody takes the last one.
        with os.fdopen(read) as number:
            self.environment = dict(os.environ, DISPLAY=":" + number.readline().strip())
        self.environment.pop("WAYLAND_DISPLAY", None)
        with open(self.file, "rb") as screen:
            head = screen.read(256)
        header, colours = struct.unpack(">I", head[:4])[0], struct.unpack(">I", head[76:80])[0]
        self.offset = header + colours * 12
        self.pitch = struct.unpack(">I", head[48:52])[0]

    def has_picture(self):
        """Whether one of a few rows shows several bright colours."""
        with open(self.file, "rb") as screen:
            for row in (self.height // 2, self.height // 4):
                screen.seek(self.offset + self.pitch * row)
                pixels = screen.read(self.pitch)
                colours = {pixels[i:i + 3] for i in range(0, self.width * 4, 64)}
                if sum(max(colour) > 150 for colour in colours) >= 3:
                    return True
        return False

    def clear(self):
        """Waits until nothing of the last player is left."""
        for _ in range(500):
            if not self.has_picture():
                return
            time.sleep(0.01)

    def wait_for_picture(self, seconds):
        limit = time.monotonic() + seconds
        while not self.has_picture():
            if time.monotonic() > limit:
                raise ValueError(f"nothing is seen after {seconds} s")
            time.sleep(0.01)

    def close(self):
        self.process.terminate()
        self.process.wait()
        os.unlink(self.file) if os.path.exists(self.file) else None


def start(command, screen):
    STARTED.append(subprocess.Popen(command, env=screen.environment, stdin=subprocess.DEVNULL,
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
    return STARTED[-1]


def end_all():
    """Of a row that was given up: what it leaves running would be in the figures of the next one."""
    while STARTED:
        process = STARTED.pop()
        if process.returncode is None:
            process.kill()
            process.wait()


def family(pid):
    """The process and all that it started, directly or not."""
    children = {}
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                with open(f"/proc/{entry}/stat", encoding="ascii", errors="replace") as stat:
                    parent = int(stat.read().rpartition(")")[2].split()[1])
            except OSError:
                continue
            children.setdefault(parent, []).append(int(entry))
    found = [pid]
    for one in found:
        found += children.get(one, [])
    return found


def shared_parts(pid):
    """Kibibytes of each part of a file or of shared memory that others have mapped as well."""
    parts = collections.Counter()
    part = None
    try:
        with open(f"/proc/{pid}/smaps", encoding="utf-8", errors="replace") as file:
            for line in file:
                words = line.split()
                if "-" in words[0] and len(words) >= 5:
                    _, _, offset, device, inode = words[:5]
                    part = (device, inode, offset) if inode != "0" else None
                elif part is not None and words[0] in ("Shared_Clean:", "Shared_Dirty:"):
                    parts[part] += int(words[1])
    except OSError:
        pass  # it has ended
    return parts


def peak_mebibytes(pids):
    """What processes that work together had at their peaks, less what more than one of them has: that
    is counted once. What they share with others, as a window's pixels with the display, is theirs."""
    total = 0
    shared = collections.defaultdict(list)
    for pid in pids:
        try:
            with open(f"/proc/{pid}/status", encoding="ascii", errors="replace") as status:
                total += int(re.search(r"^VmHWM:\s*(\d+)", status.read(), re.M).group(1))
        except (OSError, AttributeError):
            continue  # it has ended
        for part, size in shared_parts(pid).items() if len(pids) > 1 else ():
            shared[part].append(size)
    return (total - sum(sum(sizes) - max(sizes) for sizes in shared.values())) / 1024


def play(command, screen):
    """Plays to the end."""
    screen.clear()
    begin = time.monotonic()
    process = start(command, screen)
    first, peak, looked = None, 0, 0.0
    while True:
        pid, status, usage = os.wait4(process.pid, os.WNOHANG)
        if pid:
            process.returncode = status
            break
        now = time.monotonic()
        if first is None and screen.has_picture():
            first = now - begin
        if now - looked > 0.5:
            peak, looked = max(peak, peak_mebibytes(family(process.pid))), now
        if now - begin > 60:
            process.kill()
        time.sleep(0.001 if first is None else 0.05)
    # A player that failed has no figures.
    seen = first if first is not None and status == 0 else float("nan")
    return Result(seen * 1000, usage.ru_utime + usage.ru_stime, peak)


def end(process):
    """Of a player that has not ended by itself."""
    if process.poll() is not None:
        raise ValueError(f"the player has ended with {process.returncode}")
    process.send_signal(signal.SIGTERM)
    try:
        process.wait(15)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def until_picture(command, screen):
    """Runs until the picture is seen and a moment longer."""
    screen.clear()
    begin = time.monotonic()
    process = start(command, screen)
    first = float("nan")
    while time.monotonic() - begin < 10:
        if screen.has_picture():
            first = time.monotonic() - begin
            break
        time.sleep(0.001)
    time.sleep(0.4)
    memory = peak_mebibytes(family(process.pid))
    process.send_signal(signal.SIGTERM)
    try:
        _, _, usage = os.wait4(process.pid, 0)
    finally:
        process.returncode = 0
    return Result(first * 1000, usage.ru_utime + usage.ru_stime, memory)


def play_together(commands, screen):
    """Plays all at once, to the end."""
    screen.clear()
    running = {}
    for command in commands:
        process = start(command, screen)
        running[process.pid] = process
    begin = time.monotonic()
    processor, peak, failed = 0.0, 0, False
    while running:
        peak = max(peak, peak_mebibytes([one for pid in running for one in family(pid)]))
        time.sleep(0.5)
        for pid in list(running):
            done, status, usage = os.wait4(pid, os.WNOHANG)
            if done:
                running.pop(pid).returncode = status
                processor += usage.ru_utime + usage.ru_stime
                failed = failed or status != 0
            elif time.monotonic() - begin > 60:
                running[pid].kill()
    return Result(0, float("nan") if failed else processor, peak)
