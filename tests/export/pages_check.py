"""HTML pages of marrowline-preset page and marrowline-host --dots-page,
checked by readers we did not write: PIL decodes the pictures, tidy reads
the markup, and headless Chromium shows a presets page of seven files.

usage: pages_check.py BIN_FOLDER SCRATCH_FOLDER
"""
import os
import re
import shutil
import subprocess
import sys
import urllib.parse

from PIL import Image

BIN, SCRATCH = sys.argv[1], sys.argv[2]
HOST = os.path.join(BIN, "marrowline-host")
PRESET = os.path.join(BIN, "marrowline-preset")
PIECES = {b"top.gif": (94, 2), b"left.gif": (3, 88), b"right.gif": (3, 88), b"bottom.gif": (94, 5)}
COLOURS = [(220, 30, 30), (30, 200, 40), (40, 60, 220), (230, 220, 30), (210, 40, 210), (30, 210, 210),
           (240, 140, 20)]
# Names that test the encodings, as the bytes a file system holds.
NAMES = [b"My Look", b"a&b", b"x<y", b"100%", b"caf\xe9", b"Loud", b"plain"]
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL:", message)


def solid(path, colour):
    Image.new("RGB", (40, 40), colour).save(path)


def write_preset(path, thumbnail=None, env=None):
    args = [PRESET, "write", path, "--edge-style", "chrome"]
    if thumbnail:
        args += ["--thumbnail", thumbnail]
    subprocess.run(args, check=True, env=env)


def images(page_bytes):
    """(source bytes, stated width, stated height) of every img tag."""
    found = []
    for tag in re.findall(rb"<img [^>]*>", page_bytes):
        src = re.search(rb'src="([^"]*)"', tag).group(1)
        width = int(re.search(rb'width="(\d+)"', tag).group(1))
        height = int(re.search(rb'height="(\d+)"', tag).group(1))
        found.append((src, width, height))
    return found


def check_page(name, page, jpeg_size):
    """Markup that tidy accepts, pieces of their natural sizes, and every
    picture present at `jpeg_size` (None: the size the page states)."""
    tidy = subprocess.run(["tidy", "-errors", "-quiet", "-latin1", page], capture_output=True)
    # 1 is warnings only: the cells' tables share the id "Table_01", and an
    # empty page's table has no rows.
    check(tidy.returncode in (0, 1), f"{name}: tidy found errors: {tidy.stderr.decode(errors='replace')}")
    data = open(page, "rb").read()
    folder = os.path.dirname(page).encode()
    for src, width, height in images(data):
        path = os.path.join(folder, urllib.parse.unquote_to_bytes(src))
        check(src.startswith(b"web_images/") and os.path.isfile(path), f"{name}: {src} has no file")
        if not os.path.isfile(path):
            continue
        with Image.open(path) as picture:
            picture.load()
            base = os.path.basename(path)
            want = PIECES.get(base) or jpeg_size or (width, height)
            check(picture.size == want, f"{name}: {src} is {picture.size}, not {want}")
    return data


def presets_pages():
    folder = os.path.join(SCRATCH, "presets")
    os.makedirs(os.path.join(folder, b"sub.q4t".decode()))
    for name, colour in zip(NAMES, COLOURS):
        thumb = os.path.join(SCRATCH, "thumb.png")
        solid(thumb, colour)
        write_preset(os.path.join(folder.encode(), name + (b".Q4T" if name == b"Loud" else b".q4t")), thumb)
    open(os.path.join(folder, "notes.txt"), "w").write("not settings")
    page = os.path.join(SCRATCH, "presets.html")
    subprocess.run([PRESET, "page", folder, page], check=True)
    data = check_page("presets", page, (128, 128))
    pictures = [src for src, _, _ in images(data) if src.endswith(b".jpg")]
    check(len(pictures) == 7, f"presets: {len(pictures)} pictures")
    for want in [b'src="web_images/My%20Look.jpg" alt="My Look.jpg"', b">My Look</font>",
                 b'src="web_images/a%26b.jpg" alt="a&amp;b.jpg"', b">a&amp;b</font>",
                 b'src="web_images/x%3cy.jpg" alt="x&lt;y.jpg"', b">x&lt;y</font>",
                 b'src="web_images/100%25.jpg"', b">caf&eacute;</font>", b'src="web_images/caf%89.jpg"']:
        check(want in data, f"presets: no {want}")
    # Five to a row: a full row, then two cells and three empty ones.
    check(data.count(b"<p>&nbsp;</p>") == 10, "presets: spacer rows")
    check(data.count(b'<p><font face="Hoefler') == 3, "presets: empty cells")
    bold = os.path.join(SCRATCH, "bold.html")
    subprocess.run([PRESET, "page", folder, bold, "--bold"], check=True)
    check(open(bold, "rb").read().count(b"Arial\"><b>") == 7, "presets: --bold")
    return page


def edge_folders():
    for name, files in [("empty", []), ("no settings", ["a.txt", "b.jpg"]), ("no thumbnail", ["bare.q4t"])]:
        folder = os.path.join(SCRATCH, name)
        os.makedirs(folder)
        for file in files:
            if file.endswith(".q4t"):
                write_preset(os.path.join(folder, file))
            else:
                open(os.path.join(folder, file), "w").write("x")
        page = os.path.join(SCRATCH, name + ".html")
        result = subprocess.run([PRESET, "page", folder, page], capture_output=True)
        check(result.returncode == 0, f"{name}: {result.stderr}")
        data = check_page(name, page, (128, 128))
        count = len([1 for src, _, _ in images(data) if src.endswith(b".jpg")])
        check(count == (1 if name == "no thumbnail" else 0), f"{name}: {count} pictures")
        check(data.endswith(b"</body></html>"), f"{name}: page not closed")


def dots_page():
    temp = os.path.join(SCRATCH, "temp")
    os.makedirs(temp)
    env = dict(os.environ, TMPDIR=temp)
    for slot in (2, 5):  # dots 3 and 6
        write_preset(os.path.join(temp, f"Marrowline memory dot {slot}.q4t"), env=env)
    picture = os.path.join(SCRATCH, "wide.png")
    Image.radial_gradient("L").resize((600, 300)).convert("RGB").save(picture)
    page = os.path.join(SCRATCH, "dots", "dots.html")
    os.makedirs(os.path.dirname(page))
    result = subprocess.run([HOST, "--dots-page", picture, page], capture_output=True, env=env)
    check(result.returncode == 0, f"dots: {result.stderr}")
    data = check_page("dots", page, None)
    pictures = [(src, w, h) for src, w, h in images(data) if src.endswith(b".jpg")]
    check(pictures == [(b"web_images/dot%203.jpg", 300, 150), (b"web_images/dot%206.jpg", 300, 150)],
          f"dots: {pictures}")
    check(b'width="306" border="0" cellspacing="0" cellpadding="0" height="157"' in data, "dots: frame table")
    check(data.count(b'<p><font face="Hoefler') == 2, "dots: four to a row")


def screenshot(page):
    """Chromium shows seven thumbnails, each with the shadow's grey below and
    to its right."""
    shot = os.path.join(SCRATCH, "shot.png")
    subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                    "--window-size=800,600", f"--screenshot={shot}", "file://" + page],
                   capture_output=True, timeout=120, cwd=SCRATCH)
    check(os.path.isfile(shot), "chromium: no screenshot")
    if not os.path.isfile(shot):
        return
    image = Image.open(shot).convert("RGB")
    pixels = image.load()
    width, height = image.size
    for colour in COLOURS:
        xs, ys = [], []
        for y in range(0, height):
            for x in range(0, width, 2):
                if all(abs(a - b) < 40 for a, b in zip(pixels[x, y], colour)):
                    xs.append(x), ys.append(y)
        if not xs:
            check(False, f"chromium: no thumbnail of {colour}")
            continue
        left, right, top, bottom = min(xs), max(xs), min(ys), max(ys)
        check(abs(right - left - 87) <= 3 and abs(bottom - top - 87) <= 3,
              f"chromium: thumbnail of {colour} is {right - left + 1} x {bottom - top + 1}")
        below, beside = pixels[(left + right) // 2, bottom + 3], pixels[right + 2, (top + bottom) // 2]
        for name, p in [("below", below), ("beside", beside)]:
            check(max(p) - min(p) <= 6 and p[0] < 250, f"chromium: no shadow {name} {colour}: {p}")


shutil.rmtree(SCRATCH, ignore_errors=True)
os.makedirs(SCRATCH)
presets = presets_pages()
edge_folders()
dots_page()
screenshot(presets)
print("ok" if not failures else f"{len(failures)} failures")
sys.exit(1 if failures else 0)
