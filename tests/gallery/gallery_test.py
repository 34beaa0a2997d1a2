#!/usr/bin/env python3
"""noxdb gallery end to end: a database of pictures of both reading roads, a compressed one
and a clip whose name needs escaping; its gallery is checked on disk, then loaded in headless
Chromium, which must show every file of the database with its icon and large icon loaded.
The screenshot stays in the work folder. Without Chromium the browser part is skipped."""

import argparse
import hashlib
import html
import html.parser
import json
import os
import pty
import re
import shutil
import subprocess
import sys

SKIP = 77

# What the page must show of some files, beyond what noxdb ls tells of all (sizes begin so).
EXPECTED = {
    "photo": {"type": "IMAGE", "size": "96x64, ", "compression": "none", "keywords": "trip"},
    "sky": {"size": "32x16, ", "compression": "none, source layout kept", "keywords": "-"},
    "blocks": {"size": "64x64, ", "compression": "DXT5, 7 levels, plain pixels kept"},
    "Dawn _b_ & _quotes_ 'too'": {"type": "VIDEO_CLIP", "compression": None},
}

# Appended to a copy of the page: loads every large icon too and writes what the browser
# made of each file into the document, which --dump-dom then prints.
CHECKER = """<script>
for (const a of document.querySelectorAll('.icon a')) {
  const probe = new Image();
  probe.className = 'probe';
  probe.dataset.of = a.closest('article').id;
  probe.src = a.getAttribute('href');
  document.body.appendChild(probe);
}
addEventListener('load', () => {
  const width = (img) => img ? img.naturalWidth : 0;
  const found = [...document.querySelectorAll('article')].map((a) => ({
    id: a.id,
    name: a.querySelector('.name').textContent,
    fields: Object.fromEntries([...a.querySelectorAll('dt')].map((dt) => [dt.textContent, dt.nextElementSibling.textContent])),
    folder: a.closest('section').querySelector('h2').textContent,
    icon: width(a.querySelector('.icon img')),
    large: width(document.querySelector(`img.probe[data-of="${a.id}"]`)),
  }));
  const out = document.createElement('pre');
  out.id = 'gallery-check';
  out.textContent = JSON.stringify(found);
  document.body.appendChild(out);
});
</script>
"""


def fail(message):
    print("FAIL: " + message, file=sys.stderr)
    sys.exit(1)


class PageStructure(html.parser.HTMLParser):
    """Fails on a tag closed out of order or left open, and on text where the page puts none."""

    TEXT_IN = {"title", "style", "h1", "h2", "p.summary", "dt", "dd", "dd.checksum", "div.name", "div.icon"}

    def __init__(self, page):
        super().__init__()
        self.open = []
        self.feed(page)
        self.close()
        if self.open:
            fail(f"the page leaves {self.open} open")

    def handle_starttag(self, tag, attrs):
        if tag not in ("meta", "img"):
            self.open.append(tag + "".join("." + value for name, value in attrs if name == "class"))

    def handle_endtag(self, tag):
        if not self.open or self.open[-1].split(".")[0] != tag:
            fail(f"</{tag}> closes {self.open[-1:] or 'nothing'}")
        self.open.pop()

    def handle_data(self, data):
        if data.strip() and (not self.open or self.open[-1] not in self.TEXT_IN):
            fail(f"text {data.strip()[:40]!r} stands in {self.open[-1:] or 'no element'}")


def noxdb(args, db, *command):
    run = subprocess.run([args.noxdb, "--db", db, *command], capture_output=True, text=True)
    if run.returncode != 0:
        fail(f"noxdb {' '.join(command)} exited {run.returncode}: {run.stderr.strip()}")
    return run


def listing(args, db, folder="/"):
    """Folder, identifier, checksum, bytes and name of every file below `folder`, from noxdb ls."""
    files = []
    for line in noxdb(args, db, "ls", folder).stdout.splitlines():
        if line.startswith("folder "):
            name = line.split(None, 1)[1][:-1]
            files += listing(args, db, folder.rstrip("/") + "/" + name)
        else:
            _, uuid, checksum, size, name = line.split(None, 4)
            files.append({"folder": folder, "uuid": uuid, "checksum": checksum, "bytes": size, "name": name})
    return files


def chromium(args, profile, *options):
    command = [args.chromium, "--headless", "--no-sandbox", "--disable-gpu",
               "--disable-background-networking", "--disable-component-update", "--disable-sync",
               "--no-first-run", f"--user-data-dir={profile}", "--virtual-time-budget=5000",
               "--hide-scrollbars", *options]
    try:
        run = subprocess.run(command, capture_output=True, text=True, timeout=180)
    except subprocess.TimeoutExpired:
        fail("chromium did not finish within 180 s: " + " ".join(command))
    if run.returncode != 0:
        fail(f"chromium exited {run.returncode}: {run.stderr.strip()[-2000:]}")
    return run.stdout


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--noxdb", required=True)
    parser.add_argument("--media", required=True, help="the program that writes the test media")
    parser.add_argument("--work", required=True, help="a folder to work in (emptied first)")
    parser.add_argument("--chromium", default=shutil.which("chromium"))
    args = parser.parse_args()

    shutil.rmtree(args.work, ignore_errors=True)
    media, db, out = (os.path.join(args.work, n) for n in ("media", "media.noxdb", "gallery"))
    subprocess.run([args.media, media], check=True)
    noxdb(args, db, "import", "--into", "pictures", "--keyword", "trip", os.path.join(media, "pictures"))
    noxdb(args, db, "import", "--into", "pictures", "--store-original", os.path.join(media, "light"))
    noxdb(args, db, "import", "--dxt5", "--mipmaps", "--keep-original", "--into", "packed <odd> & 'folder'",
          os.path.join(media, "compressed"))
    noxdb(args, db, "import", os.path.join(media, "clip", "dawn.xml"))
    files = listing(args, db)
    if len(files) != 7:
        fail(f"the database should hold 7 files, it holds {len(files)}: {files}")

    with open(db, "rb") as f:
        before = hashlib.md5(f.read()).hexdigest()
    run = noxdb(args, db, "gallery", out)
    with open(db, "rb") as f:
        if hashlib.md5(f.read()).hexdigest() != before:
            fail("noxdb gallery changed the database")
    if "gallery of 7 files" not in run.stderr or "gallery: " in run.stderr:
        fail("noxdb gallery should report what it wrote, and no progress for a few files: " + run.stderr)
    # Enough files to wait for: a progress line every tenth of the way.
    many = os.path.join(args.work, "many")
    os.makedirs(many)
    for i in range(50):
        shutil.copy(os.path.join(media, "pictures", "photo.png"), os.path.join(many, f"{i}.png"))
    noxdb(args, many + ".noxdb", "import", many)
    progress = [line for line in noxdb(args, many + ".noxdb", "gallery", many + "-gallery").stderr.splitlines()
                if line.startswith("gallery: ")]
    if progress != [f"gallery: {n}/50 files" for n in range(5, 51, 5)]:
        fail(f"progress should be a line every tenth of the way, not {progress}")
    # On a terminal, one line rewritten in place for every file, ended when all are done.
    terminal, their_end = pty.openpty()
    subprocess.run([args.noxdb, "--db", many + ".noxdb", "gallery", many + "-gallery"], stderr=their_end,
                   stdout=subprocess.DEVNULL, check=True)
    os.close(their_end)
    shown = os.read(terminal, 65536).decode()
    os.close(terminal)
    if shown.count("\x1b[K") != 50 or "\rgallery: 1/50 files\x1b[K\rgallery: 2/50" not in shown or \
            not shown.startswith("\rgallery: 1/50 files") or "\rgallery: 50/50 files\x1b[K\r\n" not in shown:
        fail(f"progress on a terminal should be one line rewritten in place, not {shown!r}")

    page = open(os.path.join(out, "index.html"), encoding="utf-8").read()
    PageStructure(page)
    for name in sorted(os.listdir(out)):
        if name != "index.html" and not re.fullmatch(r"[0-9a-f-]{36}(\.large)?\.png", name):
            fail(f"unexpected file {name!r} beside the page: pictures are named by identifier")
    for ref in re.findall(r'(?:src|href)="([^"]*)"', page):
        if not os.path.isfile(os.path.join(out, ref)):
            fail(f"the page refers to {ref!r}, which is not a file beside it")
    if re.search(r"<(script|link)\b", page):
        fail("the page loads a script or a style; it should stand alone")
    # Names lose what the importers replace; folders keep every character.
    for needle in ("<h1>Gallery of media.noxdb</h1>", ">7 files in 3 folders</p>",
                   "Dawn _b_ &amp; _quotes_ &#39;too&#39;", "/packed &lt;odd&gt; &amp; &#39;folder&#39;"):
        if needle not in page:
            fail(f"the page does not show {needle!r}")

    if not args.chromium:
        print("chromium is not installed (apt-get install chromium): the browser check is skipped")
        return SKIP
    profile = os.path.join(args.work, "profile")
    checked = os.path.join(out, "checked.html")
    with open(checked, "w", encoding="utf-8") as f:
        f.write(page.replace("</body>", CHECKER + "</body>"))
    dom = chromium(args, profile, "--dump-dom", "file://" + checked)
    os.remove(checked)
    found = re.search(r'<pre id="gallery-check">(.*?)</pre>', dom, re.S)
    if not found:
        fail("the checking script left no result in the page:\n" + dom[-2000:])
    shown = {item["id"]: item for item in json.loads(html.unescape(found.group(1)))}
    for f in files:
        item = shown.get("f-" + f["uuid"])
        if item is None:
            fail(f"{f} is not on the page")
        fields = item["fields"]
        shown_as = (item["name"], item["folder"], fields["folder"], fields["checksum"])
        if shown_as != (f["name"], f["folder"], f["folder"], f["checksum"]) or \
                not re.fullmatch(rf"(\d+x\d+, )?{f['bytes']} bytes", fields["size"]):
            fail(f"the page shows {item} for {f}")
        for field, value in EXPECTED.get(f["name"], {}).items():
            shown_value = fields.get(field)
            if shown_value != value and not (field == "size" and shown_value.startswith(value)):
                fail(f"{f['name']}: {field} is {shown_value!r}, not {value!r}")
        # Icons are 64 pixels wide; the large one is as wide as a small picture itself.
        if item["icon"] != 64 or item["large"] <= 0 or (f["name"] == "photo" and item["large"] != 96):
            fail(f"{f['name']}: icon width {item['icon']}, large icon width {item['large']}")
    if len(shown) != len(files):
        fail(f"the page shows {len(shown)} files, the database holds {len(files)}")

    screenshot = os.path.join(args.work, "screenshot.png")
    chromium(args, profile, "--window-size=1280,1400", f"--screenshot={screenshot}",
             "file://" + os.path.join(out, "index.html"))
    with open(screenshot, "rb") as f:
        if f.read(8) != b"\x89PNG\r\n\x1a\n":
            fail("chromium wrote no PNG screenshot")
    print(f"{len(files)} files shown with their pictures; screenshot in {screenshot}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
