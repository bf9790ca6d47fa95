"""PSD files of marrowline-host --export-psd, opened by readers we did not
write: psd-tools for the layer and the merged image, ImageMagick for the
merged image. The layer must equal the final run's result inside the filter
rectangle, and the merged image that result over the grey checkerboard.

usage: psd_readers.py BIN_FOLDER SCRATCH_FOLDER
"""
import os
import resource
import shutil
import signal
import subprocess
import sys

import numpy as np
from PIL import Image
from psd_tools import PSDImage

BIN, SCRATCH = sys.argv[1], sys.argv[2]
HOST = os.path.join(BIN, "marrowline-host")
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL:", message)


def run(args, **kw):
    return subprocess.run([HOST] + args, capture_output=True, **kw)


def raw_rgba(path, depth):
    """A PNG through ImageMagick as an H x W x 4 array of its own samples."""
    width, height = map(int, subprocess.check_output(["identify", "-format", "%w %h", path]).split())
    data = subprocess.check_output(["convert", path, "-depth", str(depth), "-endian", "LSB", "rgba:-"])
    dtype = np.uint8 if depth == 8 else np.dtype("<u2")
    return np.frombuffer(data, dtype=dtype).reshape(height, width, 4).astype(np.int64)


def write_rgba(path, pixels, depth):
    height, width = pixels.shape[:2]
    dtype = np.uint8 if depth == 8 else np.dtype("<u2")
    subprocess.run(["convert", "-size", f"{width}x{height}", "-depth", str(depth), "-endian", "LSB", "rgba:-",
                    f"PNG{'64' if depth == 16 else '32'}:{path}"], input=pixels.astype(dtype).tobytes(), check=True)


def test_picture(width, height, depth):
    top = 255 if depth == 8 else 65535
    y, x = np.mgrid[0:height, 0:width]
    pixels = np.zeros((height, width, 4), np.int64)
    pixels[..., 0] = (x * 7 + ((x // 9 + y // 7) % 2) * 90) * top // (width * 7 + 90)
    pixels[..., 1] = (y * 5 + (x * y) % 37) * top // (height * 5 + 37)
    pixels[..., 2] = ((x - width // 2) ** 2 + (y - height // 2) ** 2) % 199 * top // 198
    # Transparency: opaque on the left, fading out on the right.
    pixels[..., 3] = np.where(x < width // 3, top, (width - x) * top // width)
    return pixels


def host_to_psd16(v):
    return np.where(v >= 32768, 65535, 2 * v)


def expected_merged(layer, depth):
    """The layer over the checkerboard, in the file's samples."""
    height, width = layer.shape[:2]
    y, x = np.mgrid[0:height, 0:width]
    odd = ((x ^ y) >> 3) & 1
    a = layer[..., 3:4]
    if depth == 8:
        checker = np.where(odd, 204, 255)[..., None]
        return (checker * (255 - a) + layer[..., :3] * a) // 255
    # From file samples back to the host's 0..32768 first.
    host = np.where(layer == 65535, 32768, layer // 2)
    checker = np.where(odd, 26112, 32640)[..., None]
    ha = host[..., 3:4]
    return host_to_psd16((host[..., :3] * ha + checker * (32768 - ha)) >> 15)


def export_case(name, depth, selection, params):
    work = os.path.join(SCRATCH, name)
    os.makedirs(work, exist_ok=True)
    source = os.path.join(work, "in.png")
    write_rgba(source, test_picture(90, 60, depth), depth)
    final, psd = os.path.join(work, "final.png"), os.path.join(work, "out.psd")
    left, top, right, bottom = selection
    sel = ["--selection", f"{left},{top},{right},{bottom}"]
    result = run(params + sel + [source, final])
    check(result.returncode == 0, f"{name}: final run failed: {result.stderr}")
    result = run(params + sel + ["--export-psd", source, psd])
    check(result.returncode == 0, f"{name}: export failed: {result.stderr}")
    if failures:
        return

    # Our render: the final run inside the filter rectangle, in file samples.
    rendered = raw_rgba(final, depth)[top:bottom, left:right]
    if depth == 16:
        rendered = host_to_psd16((rendered * 32768 + 32767) // 65535)

    image = PSDImage.open(psd)
    check(image.width == right - left and image.height == bottom - top, f"{name}: size {image.size}")
    check(image.depth == depth, f"{name}: depth {image.depth}")
    check(len(image) == 1 and image[0].name == "layer 1", f"{name}: layers {list(image)}")
    top_value = 255 if depth == 8 else 65535
    layer = np.rint(image[0].numpy() * top_value).astype(np.int64)
    check(layer.shape[2] == 4, f"{name}: layer without its transparency")
    mismatch = np.argwhere(layer != rendered)
    check(len(mismatch) == 0, f"{name}: layer differs from the render at {mismatch[:5].tolist()}")

    merged = np.rint(image.numpy() * top_value).astype(np.int64)[..., :3]
    want = expected_merged(layer, depth)
    mismatch = np.argwhere(merged != want)
    check(len(mismatch) == 0, f"{name}: merged image differs at {mismatch[:5].tolist()}")

    # ImageMagick reads the merged image (the file's first picture) alike.
    magick = np.frombuffer(subprocess.check_output(
        ["convert", psd + "[0]", "-depth", str(depth), "-endian", "LSB", "rgb:-"]),
        dtype=np.uint8 if depth == 8 else np.dtype("<u2")).astype(np.int64)
    check(magick.size == want.size and np.array_equal(magick.reshape(want.shape), want),
          f"{name}: ImageMagick's merged image differs")


def failure_case():
    """A write that fails half way leaves nothing a reader takes."""
    work = os.path.join(SCRATCH, "failure")
    os.makedirs(work, exist_ok=True)
    source, psd = os.path.join(work, "in.png"), os.path.join(work, "out.psd")
    write_rgba(source, test_picture(200, 150, 8), 8)

    def small_disk():
        resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

    result = run(["--export-psd", source, psd], preexec_fn=small_disk)
    check(result.returncode != 0, "failure: a failed write reported success")
    try:
        PSDImage.open(psd).numpy()
        check(False, "failure: psd-tools accepted the cut file")
    except Exception:
        pass
    missing = os.path.join(work, "no such folder", "out.psd")
    result = run(["--export-psd", source, missing])
    check(result.returncode == 3 and not os.path.exists(missing), "failure: an unopenable path")


shutil.rmtree(SCRATCH, ignore_errors=True)
os.makedirs(SCRATCH)
# The filter keeps files of its own (memory dots) in the temporary folder:
# the runs here keep them in the scratch folder.
os.environ["TMPDIR"] = os.path.join(SCRATCH, "tmp")
os.makedirs(os.environ["TMPDIR"])
export_case("eight", 8, (7, 5, 83, 51), ["--edge-style", "chrome", "--glue", "7"])
export_case("sixteen", 16, (3, 9, 88, 60), ["--edge-style", "halo"])
failure_case()
print("ok" if not failures else f"{len(failures)} failures")
sys.exit(1 if failures else 0)
