"""docs/performance.md: its tables, which stand between marks, and its chart. The text around them is written by hand."""
import html
import pathlib


ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs/performance.md"
CHART = ROOT / "docs/performance.svg"

# The least ratio to the fastest portable peer that a row should have.
FLOORS = {
    **{name: 0.95 for name in ("md5", "sha1", "sha256", "sha512", "hmac_sha256", "pbkdf2_sha256", "aes128_cbc_encrypt",
                               "aes128_cbc_decrypt", "aes256_cbc_encrypt", "aes256_cbc_decrypt", "aes128_ctr_encrypt",
                               "aes128_ctr_decrypt", "aes128_cfb_encrypt", "aes128_cfb_decrypt", "3des_cbc_encrypt",
                               "3des_cbc_decrypt", "aes128_siv_encrypt", "aes128_siv_decrypt", "aes128_cmac",
                               "rsa_sign", "rsa_verify", "certificate_parse", "bundle_load", "rsa_chain",
                               "pkcs12_open", "cms_verify")},
    **{name: 1.30 for name in ("aes128_gcm_encrypt", "aes128_gcm_decrypt", "aes256_gcm_encrypt", "aes256_gcm_decrypt")},
    "p256_sign": 0.90, "p256_verify": 0.65, "p384_sign": 0.80, "p384_verify": 0.65, "p521_sign": 0.80,
    "p521_verify": 0.45, "x25519_agree": 0.35, "ed25519_sign": 0.45, "ed25519_verify": 0.40, "p256_chain": 0.70,
    "mlkem768_keygen": 0.75, "mlkem768_encapsulate": 0.60, "mlkem768_decapsulate": 0.75,
}

# The most instructions on powerpc that a row should take: a byte where the row has a size in bytes, else a run.
TARGETS = {
    "md5/16384": 10.4, "sha1/16384": 17.9, "sha256/16384": 40, "sha512/16384": 67.8, "aes128_cbc_encrypt/16384": 49.5,
    "aes128_cbc_decrypt/16384": 63, "aes128_gcm_encrypt/16384": 72, "3des_cbc_encrypt/16384": 250,
    "rsa_verify/2048": 1.03e6, "rsa_sign/2048": 40e6, "p256_sign": 2.5e6, "p256_verify": 5.2e6, "p384_verify": 15e6,
    "p521_verify": 30e6, "x25519_agree": 3.9e6, "ed25519_sign": 2.2e6, "ed25519_verify": 5.2e6,
    "certificate_parse": 30_000, "p256_chain": 12e6,
}


def floor_of(name):
    return FLOORS.get(name.split("/")[0])


def write_block(block, text):
    """Replaces what stands between the marks of `block` in the page."""
    page = PAGE.read_text()
    marks = [f"<!-- {block} -->\n", f"<!-- end of {block} -->"]
    if not all(mark in page for mark in marks):
        raise SystemExit(f"{PAGE.relative_to(ROOT)} has no block {block}")
    begin, end = page.index(marks[0]) + len(marks[0]), page.index(marks[1])
    PAGE.write_text(page[:begin] + text.rstrip("\n") + "\n" + page[end:])


def duration(nanoseconds):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= scale:
            return f"{nanoseconds / scale:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def number(value):
    if value >= 999_500:
        return f"{value / 1e6:.3g} M" if value < 99.95e6 else f"{value / 1e6:.0f} M"
    if value >= 1000:
        return f"{value:,.0f}"
    return f"{value:.3g}"


def table(head, rows, right):
    """A table of Markdown; the columns from `right` on are numbers."""
    lines = ["| " + " | ".join(head) + " |",
             "| " + " | ".join("---" if i < right else "--:" for i in range(len(head))) + " |"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def chart(ratios):
    """Draws the ratios as bars on a logarithmic scale around 1, each with its spread and its floor."""
    from math import log2
    left, width, step, top = 190, 560, 17, 62
    low, high = -4.0, 2.0

    def x(ratio):
        return left + width * (min(max(log2(ratio), low), high) - low) / (high - low)

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 70}" '
             f'height="{top + step * len(ratios) + 20}" font-family="sans-serif" font-size="11">',
             '<rect width="100%" height="100%" fill="white"/>',
             '<text x="10" y="18" font-size="14">Speed beside the fastest portable peer (1 is level, right is faster)</text>',
             '<text x="10" y="34" fill="#444">Median and middle half of the rounds; blue marks are floors, green rows keep '
             'theirs, brown ones do not, grey ones have none.</text>']
    for ratio, label in ((1 / 16, "1/16"), (1 / 8, "1/8"), (1 / 4, "1/4"), (1 / 2, "1/2"), (1, "1"), (2, "2"), (4, "4")):
        parts.append(f'<line x1="{x(ratio):.1f}" x2="{x(ratio):.1f}" y1="{top - 8}" y2="{top + step * len(ratios)}" '
                     f'stroke="{"#444" if ratio == 1 else "#ccc"}"/>')
        parts.append(f'<text x="{x(ratio):.1f}" y="{top - 12}" text-anchor="middle" fill="#444">{label}</text>')
    for index, (name, ratio) in enumerate(ratios.items()):
        y = top + index * step
        floor = floor_of(name)
        colour = "#888" if floor is None else "#3a7d44" if ratio["median"] >= floor else "#b5552b"
        begin, end = sorted((x(1), x(ratio["median"])))
        parts.append(f'<text x="{left - 8}" y="{y + 11}" text-anchor="end">{html.escape(name)}</text>')
        parts.append(f'<rect x="{begin:.1f}" y="{y + 2}" width="{max(end - begin, 1):.1f}" height="{step - 6}" '
                     f'fill="{colour}"/>')
        parts.append(f'<line x1="{x(ratio["low"]):.1f}" x2="{x(ratio["high"]):.1f}" y1="{y + 7.5}" y2="{y + 7.5}" '
                     'stroke="black"/>')
        if floor is not None:
            parts.append(f'<line x1="{x(floor):.1f}" x2="{x(floor):.1f}" y1="{y}" y2="{y + step - 2}" stroke="#1f4e9c" '
                         'stroke-width="2"/>')
        parts.append(f'<text x="{left + width + 8}" y="{y + 11}">{ratio["median"]:.2f}</text>')
    parts.append("</svg>")
    CHART.write_text("\n".join(parts) + "\n")


def write_host(ratios, machine):
    rows = []
    for name, ratio in ratios.items():
        floor = floor_of(name)
        verdict = "" if floor is None else f"{floor:.2f}" if ratio["median"] >= floor else f"**{floor:.2f}, missed**"
        rows.append([f"`{name}`", ratio["peer"], duration(ratio["ours"]), duration(ratio["theirs"]),
                     f"{ratio['median']:.2f}", f"{ratio['low']:.2f} to {ratio['high']:.2f}", verdict])
    missed = [name for name, ratio in ratios.items() if floor_of(name) and ratio["median"] < floor_of(name)]
    summary = f"{len(ratios)} rows, {len(missed)} of them below their floor."
    write_block("host", f"{machine}\n\n{summary}\n\n" + table(
        ["operation", "fastest peer", "sealkit", "peer", "ratio", "spread", "floor"], rows, 2))
    chart(ratios)


def write_products(products, ratios):
    """Operations with fixed steps: their field products, and the cost of one with everything around it."""
    rows = [[f"`{name}`", f"{count:,}", duration(ratios[name]["ours"]), duration(ratios[name]["ours"] / count),
             f"{ratios[name]['median']:.2f}"] for name, count in products.items() if name in ratios]
    write_block("products", table(["operation", "field products", "time", "time / products", "ratio"], rows, 1))


def write_growth(times):
    """Rows whose name ends in a size, one line an operation."""
    operations = {}
    for name, time in times.items():
        operation, size = name.rsplit("/", 1)
        operations.setdefault(operation, []).append((size, time))
    rows = [[f"`{operation}`", ", ".join(f"{size}: {duration(time)}" for size, time in sizes)]
            for operation, sizes in operations.items()]
    write_block("growth", table(["operation", "time by size"], rows, 2))


def write_counts(counts, peers):
    """Counts of the product build: sealkit's and the least of the peers that were counted."""
    rows = []
    for name, (total, units) in counts.items():
        bytewise = units > 1 and name.split("/")[-1].isdigit()
        each = total / units if bytewise else total
        target = TARGETS.get(name)
        theirs = {peer: found[name][0] / (units if bytewise else 1) for peer, found in peers.items() if name in found}
        best = min(theirs, key=theirs.get, default=None)
        rows.append([f"`{name}`" + (" a byte" if bytewise else ""), number(each),
                     "" if target is None else number(target) if each <= target * 1.0005 else f"**{number(target)}, missed**",
                     "" if best is None else f"{number(theirs[best])} ({best})",
                     "" if best is None else f"{theirs[best] / each:.2f}"])
    write_block("counts", table(["operation", "instructions", "target", "fewest of a peer", "ratio"], rows, 1))


