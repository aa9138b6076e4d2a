#!/usr/bin/env python3
"""Writes the malformed inputs of tests/corpus (data header files, archive images, text
streams) and the MANIFEST of each kind: every input with the summary the corpus test must get
for it (see corpus_test.cpp). Run it again after changing a case; the files are kept in the
repository, and a crash a fuzz target finds is added here as a case of its kind.

    tests/corpus/make_corpus.py [CORPUS_DIR]
"""
import os
import struct
import sys

OUT = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))


def write_kind(kind, cases, note):
    folder = os.path.join(OUT, kind)
    os.makedirs(folder, exist_ok=True)
    for name in os.listdir(folder):
        if name != 'MANIFEST':
            os.remove(os.path.join(folder, name))
    lines = ['# ' + line for line in note] + ['# input\texpected summary']
    for name, data, expected in cases:
        with open(os.path.join(folder, name), 'wb') as out:
            out.write(data)
        lines.append(name + '\t' + expected)
    with open(os.path.join(folder, 'MANIFEST'), 'w') as out:
        out.write('\n'.join(lines) + '\n')


# --- data header files ------------------------------------------------------------------------

def le(text):
    return text.encode('utf-16-le', 'surrogatepass')


def header_file(body, tail=b'', version='VQ_1.0', mark=True):
    head = '<VQS>\r\n<VERSION>' + version + '</VERSION>\r\n<HEADER>\r\n'
    return (b'\xff\xfe' if mark else b'') + le(head + body + '</HEADER>') + tail


def block_tail(data, marker='\r\n<BINARYDATA>'):
    return le(marker) + data + le('</BINARYDATA>\r\n</VQS>')


def datablock(name, offset, size):
    return ('<DATABLOCK><BROKERSTRING>%s</BROKERSTRING><OFFSET>%s</OFFSET><SIZE>%s</SIZE>'
            '</DATABLOCK>' % (name, offset, size))


def nested(depth, inner, name='L'):
    return (''.join('<%s%d>' % (name, i) for i in range(depth)) + inner +
            ''.join('</%s%d>' % (name, i) for i in reversed(range(depth))))


WRONG = 'HDRPARS_E_WRONG_FORMAT'
n256 = 'n' * 256
valid = header_file('<A>1</A>')
headers = [
    ('empty.hdr', b'', WRONG),
    ('mark-only.hdr', b'\xff\xfe', WRONG),
    ('vqs-only.hdr', b'\xff\xfe' + le('<VQS>\r\n'), WRONG),
    ('header-first.hdr', b'\xff\xfe' + le('<VQS>\r\n<HEADER><A>1</A></HEADER>'), WRONG),
    ('version-xy.hdr', header_file('<A>1</A>', version='XY_1.0'), WRONG),
    ('version-short.hdr', header_file('<A>1</A>', version='VQ'), WRONG),
    ('version-unclosed.hdr', b'\xff\xfe' + le('<VQS>\r\n<VERSION>VQ_1.0<HEADER><A>1</A></HEADER>'),
     WRONG),
    ('version-name-257.hdr', b'\xff\xfe' + le('<VQS>\r\n<' + n256 + 'V>VQ_1</' + n256 + 'V>'), WRONG),
    ('no-header.hdr', b'\xff\xfe' + le('<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<NOTE>x</NOTE>'), WRONG),
    ('header-unclosed.hdr', b'\xff\xfe' + le('<VQS>\r\n<VERSION>VQ_1.0</VERSION><HEADER><A>1</A>'),
     WRONG),
    ('header-lowercase-close.hdr',
     b'\xff\xfe' + le('<VQS>\r\n<VERSION>VQ_1.0</VERSION><HEADER><A>1</A></header>'), WRONG),
    ('big-endian.hdr', b'\xfe\xff' + '<VQS>\r\n<VERSION>VQ_1.0</VERSION><HEADER><A>1</A></HEADER>'
     .encode('utf-16-be'), WRONG),
    ('utf8.hdr', b'<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER><A>1</A></HEADER>', WRONG),
    ('seven-chars.hdr', b'\xff\xfe' + le('<VQS>\r\n')[:12], WRONG),
    ('cut-in-header.hdr', valid[:len(valid) - 7], WRONG),
    ('odd-byte.hdr', valid + b'\x01', '0 A=1'),
    ('junk-at-seven.hdr', le('<VQS>\r\nx<VERSION>VQ_1</VERSION><HEADER><A>1</A></HEADER>'), '0 A=1'),
    ('two-junk-at-seven.hdr', le('<VQS>\r\nxy<VERSION>VQ_1</VERSION><HEADER><A>1</A></HEADER>'),
     WRONG),
    ('header-twice.hdr', header_file('<A>1</A>') + le('<HEADER><B>2</B></HEADER>'), '0 A=1'),
    ('nul-in-name.hdr', header_file('<A\0B>1</A\0B><C>2</C>'), '0 A=1;C=2'),
    ('name-256.hdr', header_file('<' + n256 + '>v</' + n256 + '>'), '0 ' + n256[:160] + '...'),
    ('name-257.hdr', header_file('<' + n256 + 'm>v</' + n256 + 'm><A>1</A>'), '0 '),
    ('stray-text.hdr', header_file('<A>1</A>stray<B>2</B>'), '0 A=1'),
    ('tab-between.hdr', header_file('<A>1</A>\t<B>2</B>'), '0 A=1'),
    ('unclosed-inner.hdr', header_file('<A>1</A><B><C>2</C>'), '0 A=1'),
    ('same-name-nested.hdr', header_file('<P><P>x</P></P><Q>1</Q>'), '0 P=<P>x'),
    ('closing-with-blank.hdr', header_file('<A>1</A ><B>2</B>'), '0 '),
    ('empty-name.hdr', header_file('<>x</><A>1</A>'), '0 =x;A=1'),
    ('lone-surrogates.hdr', header_file('<A>\ud800x\udc00</A>'), '0 A=?x?'),
    ('cr-only-lines.hdr', header_file('<A>\r1\r</A>\r<B>2</B>'), '0 A=1;B=2'),
    ('value-100k.hdr', header_file('<A>' + 'v' * 100000 + '</A><B>2</B>'), '0 A=...(100000);B=2'),
    ('siblings-5000.hdr', header_file(''.join('<T%d>%d</T%d>' % (i, i, i) for i in range(5000))),
     '0 ' + ';'.join('T%d=%d' % (i, i) for i in range(5000))[:160] + '...'),
    ('nested-1000-around-20k.hdr', header_file(nested(1000, 'x' * 20000)),
     '0 ' + '{'.join('L%d' % i for i in range(1000))[:160] + '...'),
    ('nested-1500.hdr', header_file(nested(1500, 'x')),
     '0 ' + '{'.join('L%d' % i for i in range(1500))[:160] + '...'),
    ('nested-unbalanced.hdr', header_file(''.join('<U%d>' % i for i in range(3000))), '0 '),
    ('marker-in-value.hdr',
     header_file('<NOTE><BINARYDATA>ab</NOTE>' + datablock('d', 0, 4), block_tail(b'zzzz')),
     '0 NOTE=<BINARYDATA>ab;DATABLOCK{BROKERSTRING=d;OFFSET=0;SIZE=4} | block 0 4 bytes'),
    ('block-no-offset.hdr',
     header_file('<DATABLOCK><BROKERSTRING>d</BROKERSTRING><SIZE>4</SIZE></DATABLOCK>',
                 block_tail(b'abcd')),
     '0 DATABLOCK{BROKERSTRING=d;SIZE=4} | block HDRPARS_E_TAG_MISSING'),
    ('block-no-brokerstring.hdr',
     header_file('<DATABLOCK><OFFSET>0</OFFSET><SIZE>4</SIZE></DATABLOCK>', block_tail(b'abcd')),
     '0 DATABLOCK{OFFSET=0;SIZE=4} | block HDRPARS_E_TAG_MISSING'),
    ('block-size-huge.hdr', header_file(datablock('d', 0, 2147483647), block_tail(b'abcd')),
     '0 DATABLOCK{BROKERSTRING=d;OFFSET=0;SIZE=2147483647} | block 0 46 bytes'),
    ('block-offset-negative.hdr', header_file(datablock('d', -100, 4), block_tail(b'abcd')),
     '0 DATABLOCK{BROKERSTRING=d;OFFSET=-100;SIZE=4} | block 0 0 bytes'),
    ('block-offset-past-end.hdr', header_file(datablock('d', 4000000000, 4), block_tail(b'abcd')),
     '0 DATABLOCK{BROKERSTRING=d;OFFSET=4000000000;SIZE=4} | block 0 0 bytes'),
    ('block-no-binarydata.hdr', header_file(datablock('d', 0, 4)),
     '0 DATABLOCK{BROKERSTRING=d;OFFSET=0;SIZE=4} | block HDRPARS_E_NO_BINARY_DATA'),
    ('block-marker-odd-byte.hdr', header_file(datablock('d', 0, 4), b'x' + le('<BINARYDATA>abcd')),
     '0 DATABLOCK{BROKERSTRING=d;OFFSET=0;SIZE=4} | block HDRPARS_E_NO_BINARY_DATA'),
    ('block-marker-far.hdr',
     header_file(datablock('d', 0, 4), le('.' * 70000) + block_tail(b'abcd')),
     '0 DATABLOCK{BROKERSTRING=d;OFFSET=0;SIZE=4} | block 0 4 bytes'),
    ('block-with-children-name.hdr',
     header_file('<DATABLOCK><BROKERSTRING><X>1</X></BROKERSTRING><OFFSET>0</OFFSET>'
                 '<SIZE>2</SIZE></DATABLOCK>', block_tail(b'ab')),
     '0 DATABLOCK{BROKERSTRING{X=1};OFFSET=0;SIZE=2} | block 0 2 bytes'),
]
# The regression the data header fuzz target found: a BROKERSTRING with children.
with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'fuzz', 'corpus',
                       'dataheader', 'regression-brokerstring-with-children.hdr'), 'rb') as f:
    headers.append(('fuzz-regression-brokerstring-with-children.hdr', f.read(),
                    '0 N=...(51);DATABLOCK{BROKERSTRING{OFFSET=2};OFFSET=1;SIZE=...(79)} | block 0 0 bytes'))

# --- archive images ---------------------------------------------------------------------------

MARK = 0xAA


def pad(buffer, n):
    while len(buffer) % n:
        buffer.append(MARK)


def section(keys, wide=False, language=None, model=None, engine=None, content=2, representation=2):
    """One section: keys is a list of (key, [items]); keys in order."""
    out = bytearray(48)
    for text in (language,):
        if text is not None:
            out += text.encode() + b'\0'
    if model is not None:
        out += model
    if engine is not None:
        out += engine.encode() + b'\0'
    pad(out, 4)
    key_table = len(out)
    out += bytes(4 * (len(keys) + 1))
    block = bytearray()
    offsets = []
    for key, _ in keys:
        offsets.append(len(block))
        block += (key.encode('utf-16-le') + b'\0\0') if wide else (key.encode() + b'\0')
    offsets.append(len(block))
    out[key_table:key_table + 4 * len(offsets)] = struct.pack('<%dI' % len(offsets), *offsets)
    out += block
    pad(out, 4)
    data_table = len(out)
    out += bytes(4 * (len(keys) + 1))
    data_start = len(out)
    out.append(MARK)
    entries = []
    for _, items in keys:
        start = len(out) - data_start
        if len(items) == 1:
            entries.append(start)
            out += items[0]
        else:
            entries.append(-start)
            for item in items:
                pad(out, 2)
                out += struct.pack('<H', len(item)) + item
            pad(out, 2)
    entries.append(len(out) - data_start)
    out[data_table:data_table + 4 * len(entries)] = struct.pack('<%di' % len(entries), *entries)
    entry_count = sum(len(items) for _, items in keys)
    out[0:48] = struct.pack('<12I', len(out), 1 if wide else 0, content, representation, 0xFFFFFFFF,
                            language is not None, model is not None, engine is not None, len(keys),
                            entry_count, len(block), len(out) - data_start)
    return bytes(out)


def image(sections, name='', description=''):
    out = bytearray(24)
    out += name.encode('utf-16-le') + b'\0\0'
    out += description.encode('utf-16-le') + b'\0\0'
    pad(out, 4)
    table = len(out)
    out += bytes(4 * len(sections))
    base = len(out)
    for i, body in enumerate(sections):
        pad(out, 4)
        out[table + 4 * i:table + 4 * i + 4] = struct.pack('<I', len(out) - base)
        out += body
    keys = sum(struct.unpack_from('<I', s, 32)[0] for s in sections)
    entries = sum(struct.unpack_from('<I', s, 36)[0] for s in sections)
    out[0:24] = struct.pack('<6I', 3, len(out), 0, keys, entries, len(sections))
    return bytes(out)


def put(data, at, fmt, value):
    data = bytearray(data)
    struct.pack_into(fmt, data, at, value)
    return bytes(data)


plain = section([('a', [b'x\0']), ('b', [b'p\0', b'qq\0'])])
worked = image([plain], name='D')
assert len(worked) == 126
rich = section([('\u0800', [b'x\0\0\0'])], wide=True, language='en', model=b'm\0' + b' ' * 126,
               engine='tts', content=2, representation=3)
words = section([('w', [b'\x01\x02', b'\x03'])], content=1, representation=1)
two = image([rich, words])
empty = image([])
OK = 'check 0 view 0 load 0'
CORRUPT = 'check EDCT_E_CORRUPT'
# Field offsets in the worked example: header 0, table 32, section 36, key offsets 84, key
# block 96, data offsets 100, data block 112.
images = [
    ('worked.img', worked, OK),
    ('two-sections.img', two, OK),
    ('no-sections.img', empty, 'check 0 view EDCT_E_CORRUPT load 0'),
    ('trailing-bytes.img', worked + b'\xee' * 9, OK),
    ('format-4.img', put(worked, 0, '<I', 4), CORRUPT),
    ('swapped.img', put(worked, 0, '>I', 3), CORRUPT),
    ('size-past-end.img', put(worked, 4, '<I', 127), CORRUPT),
    ('size-short.img', put(worked, 4, '<I', 122), CORRUPT),
    ('size-zero.img', put(worked, 4, '<I', 0), CORRUPT),
    ('size-huge.img', put(worked, 4, '<I', 0xFFFFFFFF), CORRUPT),
    ('reserved.img', put(worked, 8, '<I', 1), CORRUPT),
    ('count-2.img', put(worked, 20, '<I', 2), CORRUPT),
    ('count-5000000.img', put(worked, 20, '<I', 5000000), CORRUPT),
    ('table-entry-4.img', put(worked, 32, '<I', 4), CORRUPT),
    ('section-size.img', put(worked, 36, '<I', 91), CORRUPT),
    ('key-encoding-foreign.img', put(worked, 40, '<I', 2), CORRUPT),
    ('key-encoding-7.img', put(worked, 40, '<I', 7), CORRUPT),
    ('language-flag-2.img', put(worked, 56, '<I', 2), CORRUPT),
    ('language-flag-set.img', put(worked, 56, '<I', 1), CORRUPT),
    ('model-flag-set.img', put(worked, 60, '<I', 1), CORRUPT),
    ('key-count-plus-one.img', put(worked, 68, '<I', 3), CORRUPT),
    ('key-count-huge.img', put(worked, 68, '<I', 0xFFFFFFFF), CORRUPT),
    ('entries-below-keys.img', put(worked, 72, '<I', 1), CORRUPT),
    ('entries-too-many.img', put(worked, 72, '<I', 100), CORRUPT),
    ('key-block-size.img', put(worked, 76, '<I', 5), CORRUPT),
    ('data-block-size.img', put(worked, 80, '<I', 13), CORRUPT),
    ('key-offset-first.img', put(worked, 84, '<I', 1), CORRUPT),
    ('key-offset-back.img', put(worked, 88, '<I', 5), CORRUPT),
    ('key-offset-empty-key.img', put(worked, 88, '<I', 0), CORRUPT),
    ('key-offset-last.img', put(worked, 92, '<I', 3), CORRUPT),
    ('data-offset-marker.img', put(worked, 100, '<i', 0), CORRUPT),
    ('data-offset-past.img', put(worked, 104, '<i', 15), CORRUPT),
    ('data-offset-min.img', put(worked, 104, '<i', -2**31), CORRUPT),
    ('data-offset-last.img', put(worked, 108, '<i', 13), CORRUPT),
    ('data-offset-last-negative.img', put(worked, 108, '<i', -14), CORRUPT),
    # Not read by the check: it passes, and the view and the loader keep within the image.
    ('key-unterminated.img', put(worked, 97, '<B', ord('z')), OK),
    ('item-list-length-long.img', put(worked, 116, '<H', 500), 'check 0 view 0 load SRVSPI_E_ARRAY_BUFFER_TOO_SMALL'),
    ('name-unterminated.img', put(put(worked, 26, '<H', 0x41), 28, '<H', 0x41), CORRUPT),
    ('sections-aliased.img', put(two, 32, '<I', 0), CORRUPT),
    ('table-10000-at-one.img',
     put(put(image([]), 4, '<I', 28 + 40000 + len(plain)), 20, '<I', 10000)[:28] + bytes(40000) + plain,
     CORRUPT),
]
for length in (0, 3, 23, 24, 27, 35, 40, 83, 95, 111, 125):
    images.append(('cut-%d.img' % length, worked[:length], CORRUPT))
    if length >= 8:
        images.append(('cut-%d-size-fixed.img' % length, put(worked[:length], 4, '<I', length),
                       CORRUPT))

# --- text streams -----------------------------------------------------------------------------

UNKNOWN = 'EDCT_E_UNKNOWN_FORMAT'
head = '[Header]\nName = N\n'
ortho = '[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = EDCT_REPR_SZ_STRING\n[Data]\n'
words_head = '[SubHeader]\nContent = EDCT_CONTENT_USERWORDS\nRepresentation = EDCT_REPR_BINARY\n[Data]\n'
narrow_head = ('[SubHeader]\nContent = EDCT_CONTENT_BROAD_NARROWS\nRepresentation = EDCT_REPR_SZZ_STRING\n'
               '[Data]\n')


def u8(text):
    return text.encode('utf-8', 'surrogateescape')


streams = [
    ('valid.utf8', u8(head + ortho + 'hello "hello world"\nhi hi\n'), '0 keys 2 entries 2'),
    ('empty.utf8', b'', UNKNOWN + ' keys 0 entries 0'),
    ('no-header.utf8', u8(ortho + 'a b\n'), UNKNOWN + ' keys 0 entries 0'),
    ('unknown-key.utf8', u8(head + 'Colour = red\n'), UNKNOWN + ' keys 0 entries 0'),
    ('bad-content.utf8', u8(head + '[SubHeader]\nContent = PHONEMES\n'), UNKNOWN + ' keys 0 entries 0'),
    ('bad-representation.utf8',
     u8(head + '[SubHeader]\nContent = EDCT_CONTENT_ORTHOGRAPHIC\nRepresentation = UTF32\n'),
     UNKNOWN + ' keys 0 entries 0'),
    ('data-without-content.utf8', u8(head + '[Data]\na b\n'), UNKNOWN + ' keys 0 entries 0'),
    ('mismatched-pairing.utf8',
     u8(head + '[SubHeader]\nContent = EDCT_CONTENT_USERWORDS\nRepresentation = EDCT_REPR_SZ_STRING\n'
        '[Data]\na b\n'), UNKNOWN + ' keys 0 entries 0'),
    ('narrows-without-slashes.utf8', u8(head + narrow_head + 'a //x\nb y\n'),
     UNKNOWN + ' keys 1 entries 1'),
    ('hex-bad-digit.utf8', u8(head + words_head + 'a 01 02\nb 0G\n'), UNKNOWN + ' keys 1 entries 1'),
    ('hex-continued.utf8', u8(head + words_head + 'a 01 \\\n02 03\n'), '0 keys 1 entries 1'),
    ('model-129-bytes.utf8', u8(head + '[SubHeader]\nModel = ' + 'm' * 129 + '\n'),
     'EDCT_E_OUT_OF_MEMORY keys 0 entries 0'),
    ('value-at-end.utf8', u8(head + '[SubHeader]\nLanguage = en'), UNKNOWN + ' keys 0 entries 0'),
    ('unclosed-quote.utf8', u8(head + ortho + 'a "b\nc d\n'), '0 keys 1 entries 1'),
    ('backslash-at-end.utf8', u8(head + ortho + 'a b\\'), '0 keys 1 entries 1'),
    ('invalid-utf8.utf8', u8(head + ortho) + b'\xff\xfe\xc0 x\n\xed\xa0\x80 y\n', '0 keys 2 entries 2'),
    ('nul-bytes.utf8', u8(head + ortho) + b'a\0b c\0d\n', '0 keys 1 entries 1'),
    ('token-100k.utf8', u8(head + ortho + 'k' * 100000 + ' v\n'), '0 keys 1 entries 1'),
    ('subheader-only.utf8', u8(head + '[SubHeader]\n'), UNKNOWN + ' keys 0 entries 0'),
    ('data-then-subheader-end.utf8', u8(head + ortho + 'a b\n[SubHeader]\n'),
     UNKNOWN + ' keys 1 entries 1'),
    ('ucs2le-valid.ucs2le', b'\xff\xfe' + le(head + ortho + 'a b\n'), '0 keys 1 entries 1'),
    ('ucs2le-odd-length.ucs2le', b'\xff\xfe' + le(head + ortho + 'a b\n') + b'\x41',
     '0 keys 1 entries 1'),
    ('ucs2le-no-mark.ucs2le', le(head + ortho + 'a b\n'), UNKNOWN + ' keys 0 entries 0'),
    ('ucs2le-mark-only.ucs2le', b'\xff\xfe', UNKNOWN + ' keys 0 entries 0'),
    ('ucs2be-valid.ucs2be', b'\xfe\xff' + (head + ortho + 'a b\n').encode('utf-16-be'),
     '0 keys 1 entries 1'),
    ('ucs2be-marked-le.ucs2be', b'\xff\xfe' + le(head + ortho + 'a b\n'), UNKNOWN + ' keys 0 entries 0'),
]

write_kind('dataheader', headers, [
    'Data header files; summary: the code of hdrpars_ReadFileHeader, then on success the tree',
    '("name=value", children in braces, values over 16 characters by their length, cut at',
    '160 characters) and for each DATABLOCK "block" with the code of hdrpars_OpenData and the',
    'bytes a mapping of the whole block yields.'])
write_kind('archive', images, [
    'Archive images; summary: the code of edct_DctCheckImage over the exact bytes, then, when',
    'it passes, the codes of edct_DctOpen read-only ("view") and writable ("load").'])
write_kind('dctstream', streams, [
    'Text streams, in the format of their extension (utf8, ucs2le, ucs2be); summary: the code',
    'of edct_DctReadStream into a new dictionary, and the keys and entries it holds after.'])
