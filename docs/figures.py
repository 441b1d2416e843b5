#!/usr/bin/env python3
"""Draws the figures of the pages, by running the code that the pages show.

    docs/figures.py FOLDER

Every block of Python on a page is run, with numpy, qip and the sample pictures at hand; a block whose import is
missing on this machine is left out by name. The picture below a block shows the arrays that the block has made, in
their order, under their names. Figures that a page shows are written to FOLDER. The plots of speed are made from
docs/benchmark.json and must be those that stand in docs/.
"""
import ast
import re
import subprocess
import sys
from pathlib import Path

import matplotlib

matplotlib.use("Agg")
import matplotlib.image  # noqa: E402
import matplotlib.patches  # noqa: E402
import matplotlib.pyplot as plt  # noqa: E402
import numpy  # noqa: E402
import qip  # noqa: E402

DOCS = Path(__file__).resolve().parent
BLOCK = re.compile(r"```python\n(.*?)```(?:\s*!\[[^\]]*\]\([^)]*/build/figures/([a-z_]+)\.png\))?", re.DOTALL)


def sample(name):
    """A sample picture as bytes."""
    picture = matplotlib.image.imread(DOCS.parent / "samples" / name)
    return numpy.rint(picture * 255).astype(numpy.uint8)


def greatest_difference(theirs, ours):
    """Of any two pixels, away from the border."""
    inner = (slice(40, -40), slice(40, -40))
    return abs(theirs[inner].astype(float) - ours[inner]).max()


def names_made(code):
    """The names that a block assigns, in order and once."""
    targets = [target for node in ast.parse(code).body if isinstance(node, ast.Assign) for target in node.targets]
    names = [name.id for target in targets for name in getattr(target, "elts", [target]) if isinstance(name, ast.Name)]
    return list(dict.fromkeys(names))


def draw_pictures(pictures, path):
    """Up to four in a row, in one scale: pixels of a smaller picture are not drawn larger."""
    columns = min(len(pictures), 4)
    rows = -(-len(pictures) // columns)
    width = max(picture.shape[1] for picture in pictures.values())
    height = max(picture.shape[0] for picture in pictures.values())
    figure, axes = plt.subplots(rows, columns, figsize=(12, rows * (12 / columns * height / width + 0.3)), squeeze=False)
    for place in axes.flat:
        place.axis("off")
    for place, (name, picture) in zip(axes.flat, pictures.items()):
        place.imshow(picture, cmap="gray", vmin=0, vmax=255, interpolation="nearest")
        place.set(xlim=(-0.5, width - 0.5), ylim=(height - 0.5, -0.5))
        place.add_patch(matplotlib.patches.Rectangle((-0.5, -0.5), picture.shape[1], picture.shape[0], fill=False,
                                                     color="#888888", clip_on=False))
        place.set_title(name.replace("_", " "), fontsize=10, loc="left")
    save(figure, path)


def draw_errors(errors, path):
    """A falling line: the kernel size below, the error upwards."""
    figure, axis = plt.subplots(figsize=(8, 3.5))
    axis.plot(list(errors), [100 * error for error in errors.values()], "o-", color="#0969da")
    axis.set(xlabel="kernel size", ylabel="sum of differences, %", ylim=(0, None),
             xticks=list(errors))
    axis.grid(alpha=0.3)
    save(figure, path)


def save(figure, path):
    figure.tight_layout()
    figure.savefig(path, dpi=100, metadata={"Software": None})
    plt.close(figure)


def run(code, page, space):
    """What the block has made, by name; nothing where another package is missing."""
    try:
        exec(compile(code, f"a block of {page.name}", "exec"), space)
    except ModuleNotFoundError as missing:
        print(f"SKIPPED: {page.name}: {missing}")
        return {}
    return {name: space[name] for name in names_made(code)}


def main(folder):
    folder.mkdir(parents=True, exist_ok=True)
    for page in (DOCS / "gallery.md", DOCS / "coming_from.md"):
        space = {"numpy": numpy, "qip": qip, "part": sample("part8.png"), "dust": sample("dust_mask.png"),
                 "greatest_difference": greatest_difference}
        for code, figure in BLOCK.findall(page.read_text(encoding="utf-8")):
            made = run(code, page, space)
            if figure and "errors" in made:
                draw_errors(made["errors"], folder / f"{figure}.png")
            elif figure:
                draw_pictures(made, folder / f"{figure}.png")
    for size in ("4096x3072", "1024x1024"):
        drawn = subprocess.run([DOCS.parent / "bench" / "plot", "--size", size, DOCS / "benchmark.json"], check=True,
                               capture_output=True).stdout
        if drawn != (DOCS / f"speed_{size}.svg").read_bytes():
            sys.exit(f"docs/speed_{size}.svg is not what bench/plot makes of docs/benchmark.json")


if __name__ == "__main__":
    main(Path(sys.argv[1]))
