#!/usr/bin/env python3
"""Writes the add-in's image and custom-UI resources into this folder.

The outputs are committed; run this again only after changing it:
    python3 addin/resources/generate_resources.py
Output is deterministic (no time stamps), so an unchanged script reproduces the same bytes.

  ButtonMask.bmp     BITMAP 204  16x16, 4 bits per pixel: black where the button picture is opaque
  ButtonPicture.bmp  BITMAP 205  16x16, 8 bits per pixel
  RibbonButton.png   "PNG" 206   32x32, 8-bit RGBA, transparent around the badge
  TessarixOL.ico                32x32 icon of the installer's Add/Remove Programs entry (the ribbon
                     button's PNG in an icon file)
  Ribbon<id>.xml     "XML" 201, 203, 207-212: custom-UI documents, UTF-16 LE with BOM, no terminator
"""
import os
import struct
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))

GREEN = (0x2D, 0xBE, 0x60)
DARK_GREEN = (0x1E, 0x8A, 0x45)
WHITE = (0xFF, 0xFF, 0xFF)


def badge_coverage(x, y, size, samples=4):
    """Share (0..1) of pixel (x, y) covered by a rounded square filling a size x size image."""
    radius = size * 0.22
    inset = size * 0.03
    lo, hi = inset, size - inset
    covered = 0
    for sy in range(samples):
        for sx in range(samples):
            px = x + (sx + 0.5) / samples
            py = y + (sy + 0.5) / samples
            cx = min(max(px, lo + radius), hi - radius)
            cy = min(max(py, lo + radius), hi - radius)
            if (px - cx) ** 2 + (py - cy) ** 2 <= radius ** 2 and lo <= px <= hi and lo <= py <= hi:
                covered += 1
    return covered / (samples * samples)


def in_letter_t(x, y, size):
    """The white "T" on the badge, in pixel units of a size x size image."""
    u = (x + 0.5) / size
    v = (y + 0.5) / size
    bar = 0.24 <= v <= 0.38 and 0.22 <= u <= 0.78
    stem = 0.24 <= v <= 0.78 and 0.42 <= u <= 0.58
    return bar or stem


def bmp(width, height, bits, palette, pixels):
    """A bottom-up BMP file with a palette; pixels are palette indices, rows top first."""
    stride = ((width * bits + 31) // 32) * 4
    rows = []
    for row in reversed(pixels):
        data = bytearray()
        if bits == 8:
            data.extend(row)
        elif bits == 4:
            for i in range(0, width, 2):
                data.append((row[i] << 4) | row[i + 1])
        data.extend(b"\0" * (stride - len(data)))
        rows.append(bytes(data))
    image = b"".join(rows)
    colors = b"".join(struct.pack("<BBBB", b, g, r, 0) for (r, g, b) in palette)
    info = struct.pack("<IiiHHIIiiII", 40, width, height, 1, bits, 0, len(image), 2835, 2835,
                       len(palette), 0)
    offset = 14 + len(info) + len(colors)
    header = struct.pack("<2sIHHI", b"BM", offset + len(image), 0, 0, offset)
    return header + info + colors + image


def png_rgba(width, height, rgba_rows):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    raw = b"".join(b"\0" + bytes(row) for row in rgba_rows)
    ihdr = struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", ihdr) + chunk(b"IDAT", zlib.compress(raw, 9)) +
            chunk(b"IEND", b""))


def command_bar_images():
    size = 16
    # Picture: index 0 background (never shown: the mask hides it), 1 badge, 2 letter, 3 badge edge.
    palette8 = [(0xC0, 0xC0, 0xC0), GREEN, WHITE, DARK_GREEN] + [(0, 0, 0)] * 252
    picture, mask = [], []
    for y in range(size):
        prow, mrow = [], []
        for x in range(size):
            cover = badge_coverage(x, y, size)
            if cover < 0.5:
                prow.append(0)
                mrow.append(15)  # white: transparent
            else:
                prow.append(2 if in_letter_t(x, y, size) else (1 if cover == 1.0 else 3))
                mrow.append(0)  # black: the picture shows
        picture.append(prow)
        mask.append(mrow)
    palette4 = [(0, 0, 0)] + [(0x80, 0x80, 0x80)] * 14 + [WHITE]
    return bmp(size, size, 8, palette8, picture), bmp(size, size, 4, palette4, mask)


def ribbon_png():
    size = 32
    rows = []
    for y in range(size):
        row = []
        for x in range(size):
            alpha = round(255 * badge_coverage(x, y, size))
            color = WHITE if in_letter_t(x, y, size) else GREEN
            row.extend(color + (alpha,) if alpha else (0, 0, 0, 0))
        rows.append(row)
    return png_rgba(size, size, rows)


NS_2009 = "http://schemas.microsoft.com/office/2009/07/customui"
NS_2006 = "http://schemas.microsoft.com/office/2006/01/customui"

# Resource 201, the Outlook 2010 explorer: (tab idMso, group id, button id, getImage callback).
EXPLORER_TABS = [
    ("TabMail", "Tessarix_MailGroup", "Tessarix_MailsButton", "getImage"),
    ("TabTasks", "Tessarix_TasksGroup", "Tessarix_TasksButton", "getImage"),
    ("TabCalendar", "Tessarix_CalendarGroup", "Tessarix_CalendarButton", "getImage"),
    ("TabContacts", "Tessarix_TabContactsGroup", "Tessarix_TabContactsButton", "GetImage"),
    ("TabJournals", "Tessarix_TabJournalsGroup", "Tessarix_TabJournalsButton", "GetImage"),
    ("TabNotes", "Tessarix_TabNotesGroup", "Tessarix_TabNotesButton", "getImage"),
]

# Inspector documents: resource -> (tab idMso, group id, button id, getEnabled callback or None).
INSPECTOR_DOCUMENTS = {
    203: ("TabReadMessage", "Tessarix_ReadMessageGroup", "Tessarix_ReadMessageButton", "GetEnabled"),
    207: ("TabTask", "Tessarix_TaskGroup", "Tessarix_TaskButton", None),
    208: ("TabAppointment", "Tessarix_AppointmentGroup", "Tessarix_AppointmentButton", None),
    209: ("TabContact", "Tessarix_ContactGroup", "Tessarix_ContactButton", None),
    210: ("TabDistributionList", "Tessarix_DistributionListGroup", "Tessarix_DistributionListButton", None),
    211: ("TabJournal", "Tessarix_JournalGroup", "Tessarix_JournalButton", None),
    212: ("TabReadMessage", "Tessarix_MeetingRequestGroup", "Tessarix_MeetingRequestButton", None),
}


def custom_ui(namespace, tabs):
    lines = ['<?xml version="1.0" encoding="utf-16"?>',
             f'<customUI xmlns="{namespace}" onLoad="OnLoad">',
             "  <ribbon>",
             "    <tabs>"]
    for tab, group, button, get_image, get_enabled in tabs:
        enabled = f' getEnabled="{get_enabled}"' if get_enabled else ""
        lines += [f'      <tab idMso="{tab}">',
                  f'        <group id="{group}" label="Tessarix">',
                  f'          <button id="{button}" size="large" getLabel="GetLabel" getImage="{get_image}"'
                  f'{enabled} onAction="OnClick" />',
                  "        </group>",
                  "      </tab>"]
    lines += ["    </tabs>", "  </ribbon>", "</customUI>"]
    # UTF-16 little-endian with its byte-order mark and no terminating zero.
    return "\r\n".join(lines).encode("utf-16-le").join([b"\xff\xfe", b""])


def documents():
    docs = {201: custom_ui(NS_2009, [(t, g, b, img, "GetEnabled") for (t, g, b, img) in EXPLORER_TABS])}
    for resource, (tab, group, button, enabled) in INSPECTOR_DOCUMENTS.items():
        docs[resource] = custom_ui(NS_2006, [(tab, group, button, "GetImage", enabled)])
    return docs


def icon_file(png):
    """An icon file holding one 32x32 PNG image (read by Windows Vista and later)."""
    header = struct.pack("<HHH", 0, 1, 1)
    entry = struct.pack("<BBBBHHII", 32, 32, 0, 0, 1, 32, len(png), 6 + 16)
    return header + entry + png


def write(name, data):
    with open(os.path.join(HERE, name), "wb") as f:
        f.write(data)


def main():
    picture, mask = command_bar_images()
    write("ButtonPicture.bmp", picture)
    write("ButtonMask.bmp", mask)
    write("RibbonButton.png", ribbon_png())
    write("TessarixOL.ico", icon_file(ribbon_png()))
    for resource, data in documents().items():
        write(f"Ribbon{resource}.xml", data)


if __name__ == "__main__":
    main()
