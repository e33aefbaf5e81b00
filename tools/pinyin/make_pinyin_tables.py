#!/usr/bin/env python3
"""Writes encoding/PinYinTables.cpp, the pinyin tables of the library, from Unicode's Unihan readings.

    python3 tools/pinyin/make_pinyin_tables.py            # rewrites encoding/PinYinTables.cpp
    python3 tools/pinyin/make_pinyin_tables.py --check    # exit 0 when the committed file is what it writes

The readings of a character are those of kXHC1983, kTGHZ2013 and kMandarin together, and those of
kHanyuPinyin only where the other three give none. Tone marks are stripped, u with diaeresis is written V,
and a reading that is not one of the 403 syllables (M, NG, HM, EI, the circumflexed E ...) is left out.
The private-use rows U+E815 + k stand for the user-defined byte pairs FE50 to FEA0 of GB18030 in order,
FE7F skipped; each pair is decoded with glibc's GB18030 converter (the iconv program) to the ideograph whose
readings fill the row. The output depends on nothing else: the same inputs give the same bytes.
Exit status: 0 done (or --check found the file current), 1 --check found it different, 77 input missing.
"""
import argparse
import bz2
import hashlib
import os
import shutil
import subprocess
import sys
import unicodedata

SYLLABLES = """
A AI AN ANG AO BA BAI BAN BANG BAO BEI BEN BENG BI BIAN BIAO BIE BIN BING BO BU CA CAI CAN CANG CAO CE CEN
CENG CHA CHAI CHAN CHANG CHAO CHE CHEN CHENG CHI CHONG CHOU CHU CHUAI CHUAN CHUANG CHUI CHUN CHUO CI CONG COU
CU CUAN CUI CUN CUO DA DAI DAN DANG DAO DE DEI DENG DI DIA DIAN DIAO DIE DING DIU DONG DOU DU DUAN DUI DUN
DUO E EN ER FA FAN FANG FEI FEN FENG FO FOU FU GA GAI GAN GANG GAO GE GEI GEN GENG GONG GOU GU GUA GUAI GUAN
GUANG GUI GUN GUO HA HAI HAN HANG HAO HE HEI HEN HENG HONG HOU HU HUA HUAI HUAN HUANG HUI HUN HUO JI JIA JIAN
JIANG JIAO JIE JIN JING JIONG JIU JU JUAN JUE JUN KA KAI KAN KANG KAO KE KEN KENG KONG KOU KU KUA KUAI KUAN
KUANG KUI KUN KUO LA LAI LAN LANG LAO LE LEI LENG LI LIA LIAN LIANG LIAO LIE LIN LING LIU LONG LOU LU LUAN LUN
LUO LV LVE MA MAI MAN MANG MAO ME MEI MEN MENG MI MIAN MIAO MIE MIN MING MIU MO MOU MU NA NAI NAN NANG NAO NE
NEI NEN NENG NI NIAN NIANG NIAO NIE NIN NING NIU NONG NU NUAN NUO NV NVE O OU PA PAI PAN PANG PAO PEI PEN PENG
PI PIAN PIAO PIE PIN PING PO POU PU QI QIA QIAN QIANG QIAO QIE QIN QING QIONG QIU QU QUAN QUE QUN RAN RANG RAO
RE REN RENG RI RONG ROU RU RUAN RUI RUN RUO SA SAI SAN SANG SAO SE SEN SENG SHA SHAI SHAN SHANG SHAO SHE SHEI
SHEN SHENG SHI SHOU SHU SHUA SHUAI SHUAN SHUANG SHUI SHUN SHUO SI SONG SOU SU SUAN SUI SUN SUO TA TAI TAN TANG
TAO TE TENG TI TIAN TIAO TIE TING TONG TOU TU TUAN TUI TUN TUO WA WAI WAN WANG WEI WEN WENG WO WU XI XIA XIAN
XIANG XIAO XIE XIN XING XIONG XIU XU XUAN XUE XUN YA YAI YAN YANG YAO YE YI YIN YING YO YONG YOU YU YUAN YUE
YUN ZA ZAI ZAN ZANG ZAO ZE ZEI ZEN ZENG ZHA ZHAI ZHAN ZHANG ZHAO ZHE ZHEI ZHEN ZHENG ZHI ZHONG ZHOU ZHU ZHUA
ZHUAI ZHUAN ZHUANG ZHUI ZHUN ZHUO ZI ZONG ZOU ZU ZUAN ZUI ZUN ZUO
""".split()
NUMBER = {syllable: index + 1 for index, syllable in enumerate(SYLLABLES)}

CHAR_FIRST, CHAR_LAST = 0x4E00, 0x9FA5
PRIVATE_FIRST, PRIVATE_LAST = 0xE81A, 0xE863
PRIVATE_ROW_BASE = 0xE815  # the code unit of the pair FE50, the first of the user-defined row
BITS = 9
MAX_SYLLABLES = 63 // BITS  # a positive signed 64-bit code holds seven 9-bit groups
LING = NUMBER["LING"]  # the reading the ideographic zero U+3007 is given by rule

PRIMARY_FIELDS = ("kXHC1983", "kTGHZ2013", "kMandarin")
FALLBACK_FIELD = "kHanyuPinyin"
TONE_MARKS = {"\u0300", "\u0301", "\u0304", "\u030C"}  # grave, acute, macron, caron
DIAERESIS = "\u0308"

DEFAULT_DATA = "/usr/share/unicode/Unihan_Readings.txt.bz2"
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
DEFAULT_OUTPUT = os.path.join(ROOT, "encoding", "PinYinTables.cpp")


class MissingInput(Exception):
    pass


def read_data(path):
    """The text of the readings file (bzip2 or plain) and the header lines that name its version."""
    if not os.path.isfile(path):
        raise MissingInput(f"{path}: no such file (Debian's unicode-data package ships it)")
    opener = bz2.open if path.endswith(".bz2") else open
    with opener(path, "rb") as stream:
        raw = stream.read()
    text = raw.decode("utf-8")
    return text, hashlib.sha256(raw).hexdigest()


def parse_fields(text):
    """{code point: {field: value}} for the fields that carry Mandarin readings, and the header lines."""
    fields = {}
    header = {}
    for line in text.splitlines():
        if line.startswith("#"):
            for key in ("Date:", "Unicode version:"):
                if line.startswith("# " + key):
                    header[key.rstrip(":")] = line[len(key) + 2:].strip()
            continue
        if not line.strip():
            continue
        point, field, value = line.split("\t")
        if field in PRIMARY_FIELDS or field == FALLBACK_FIELD:
            fields.setdefault(int(point[2:], 16), {})[field] = value
    return fields, header


def raw_readings(entry):
    """The readings of one character as written in the data, before tones are stripped."""
    readings = []
    for field in ("kXHC1983", "kTGHZ2013"):  # "page.position[,page.position]:reading", blank-separated
        for item in entry.get(field, "").split():
            readings.append(item.split(":", 1)[1])
    readings += entry.get("kMandarin", "").split()
    if readings:
        return readings
    for item in entry.get(FALLBACK_FIELD, "").split():  # "location[,location]:reading,reading"
        readings += item.split(":", 1)[1].split(",")
    return readings


def syllable_number(reading):
    """The syllable number of a reading with its tone stripped and u-diaeresis as V, or None."""
    letters = []
    for mark in unicodedata.normalize("NFD", reading):
        if mark in TONE_MARKS:
            continue
        if mark == DIAERESIS:
            if not letters or letters[-1] != "u":
                return None
            letters[-1] = "v"
            continue
        letters.append(mark)
    return NUMBER.get("".join(letters).upper())


def reading_set(fields, point):
    """The syllable numbers of a character, highest first, as a code lists them."""
    numbers = {syllable_number(r) for r in raw_readings(fields.get(point, {}))}
    numbers.discard(None)
    ordered = sorted(numbers, reverse=True)
    if len(ordered) > MAX_SYLLABLES:
        raise SystemExit(f"U+{point:04X} has {len(ordered)} syllables; a code holds {MAX_SYLLABLES}")
    return ordered


def pack(numbers):
    code = 0
    for shift, number in enumerate(numbers):
        code |= number << (BITS * shift)
    return code


def private_pairs():
    """(code unit, GB18030 byte pair) for every private-use row of the tables."""
    pairs = [0xFE00 | low for low in range(0x50, 0xA1) if low != 0x7F]
    return [(PRIVATE_ROW_BASE + k, pair) for k, pair in enumerate(pairs)
            if PRIVATE_FIRST <= PRIVATE_ROW_BASE + k <= PRIVATE_LAST]


def decode_gb18030(pair):
    """The code point glibc's GB18030 converter gives for a byte pair, or None where it gives none."""
    iconv = shutil.which("iconv")
    if iconv is None:
        raise MissingInput("iconv: not found (glibc's converter decodes the private-use rows)")
    result = subprocess.run([iconv, "-f", "GB18030", "-t", "UTF-32BE"], input=bytes([pair >> 8, pair & 0xFF]),
                            capture_output=True, check=False)
    if result.returncode != 0 or len(result.stdout) != 4:
        return None
    return int.from_bytes(result.stdout, "big")


def generate(data_path):
    text, digest = read_data(data_path)
    fields, header = parse_fields(text)

    # Row 0 means "no reading"; row 1 is LING, the code of the ideographic zero's rule, and the other
    # rows follow in the order in which the code units first use them.
    codes = [0, pack([LING])]
    row_of = {0: 0, codes[1]: 1}

    def row(numbers):
        code = pack(numbers)
        if code not in row_of:
            row_of[code] = len(codes)
            codes.append(code)
        return row_of[code]

    char_rows = [row(reading_set(fields, point)) for point in range(CHAR_FIRST, CHAR_LAST + 1)]
    private_rows = []
    for unit, pair in private_pairs():
        ideograph = decode_gb18030(pair)
        numbers = reading_set(fields, ideograph) if ideograph is not None else []
        private_rows.append((unit, pair, ideograph, row(numbers)))

    out = []
    emit = out.append
    emit("// Pinyin tables: generated by tools/pinyin/make_pinyin_tables.py; do not edit (docs/pinyin.md).")
    emit(f"// Readings: Unihan_Readings.txt, Unicode {header.get('Unicode version', '?')} "
         f"({header.get('Date', '?')}), SHA-256 of the text")
    emit(f"// {digest}.")
    emit("// Copyright (c) Unicode, Inc., under the Unicode License Agreement for Data Files and Software;")
    emit("// these tables are modified from that data: only the Mandarin syllables without tones are kept.")
    emit("// Private-use rows: GB18030 byte pairs decoded by glibc's GB18030 converter, as each row's comment shows.")
    emit("// Filled rows: "
         f"{sum(1 for r in char_rows if r)} of {len(char_rows)} for U+{CHAR_FIRST:04X}..U+{CHAR_LAST:04X}, "
         f"{sum(1 for p in private_rows if p[3])} of {len(private_rows)} for "
         f"U+{PRIVATE_FIRST:04X}..U+{PRIVATE_LAST:04X}; {len(codes) - 1} codes.")
    emit('#include "encoding/PinYinTables.h"')
    emit("")
    emit("namespace encoding {")
    emit("")
    emit("const char* const PinYinSyllables[kPinYinSyllableCount] = {")
    line = "   "
    for syllable in SYLLABLES:
        item = f' "{syllable}",'
        if len(line) + len(item) > 110:
            emit(line)
            line = "   "
        line += item
    emit(line)
    emit("};")
    emit("")
    emit("// Row 0 is no reading; a row's comment lists its syllables from the lowest 9 bits up.")
    emit("const int64_t PinYinCodes[] = {")
    for number, code in enumerate(codes):
        names, rest = [], code
        while rest:
            names.append(SYLLABLES[(rest & 0x1FF) - 1])
            rest >>= BITS
        emit(f"    {f'0x{code:X},':<12} // {number}: {' '.join(names) if names else 'none'}")
    emit("};")
    emit("const size_t PinYinCodeCount = sizeof PinYinCodes / sizeof PinYinCodes[0];")
    emit("")
    emit(f"// U+{CHAR_FIRST:04X} + i, sixteen code units a line.")
    emit("const int64_t PinYinCharIndex[kPinYinCharCount] = {")
    for start in range(0, len(char_rows), 16):
        values = ", ".join(str(r) for r in char_rows[start:start + 16])
        emit(f"    {values},  // U+{CHAR_FIRST + start:04X}")
    emit("};")
    emit("")
    emit("// Each row: its GB18030 byte pair and the ideograph that pair decodes to.")
    emit("const int64_t PinYinPrivateIndex[kPinYinPrivateCount] = {")
    for unit, pair, ideograph, index in private_rows:
        target = f"U+{ideograph:04X}" if ideograph is not None else "nothing"
        emit(f"    {f'{index},':<5} // U+{unit:04X} {pair:04X} {target}")
    emit("};")
    emit("")
    emit("}  // namespace encoding")
    return "\n".join(out) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--data", default=DEFAULT_DATA, help="Unihan_Readings.txt, plain or .bz2")
    parser.add_argument("--output", default=DEFAULT_OUTPUT, help="the C++ source to write or check")
    parser.add_argument("--check", action="store_true", help="compare with the output file, write nothing")
    arguments = parser.parse_args()
    try:
        source = generate(arguments.data)
    except MissingInput as missing:
        print(f"make_pinyin_tables: {missing}", file=sys.stderr)
        return 77
    if arguments.check:
        try:
            with open(arguments.output, encoding="utf-8") as stream:
                current = stream.read()
        except OSError as error:
            print(f"make_pinyin_tables: {error}", file=sys.stderr)
            return 1
        if current != source:
            print(f"{arguments.output} differs from what the generator writes from {arguments.data}",
                  file=sys.stderr)
            return 1
        print(f"{arguments.output} is current")
        return 0
    with open(arguments.output, "w", encoding="utf-8", newline="\n") as stream:
        stream.write(source)
    return 0


if __name__ == "__main__":
    sys.exit(main())
