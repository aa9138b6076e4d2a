#!/usr/bin/env python3
"""Writes the example's installed tree (tree/): data header files in the layout the library's
writer produces. Run it again after changing a component below; the files are kept in git."""
import os

HERE = os.path.dirname(os.path.abspath(__file__))


def element(name, value, depth):
    pad = "  " * depth
    if isinstance(value, list):
        inner = "".join(element(n, v, depth + 1) for n, v in value)
        return f"{pad}<{name}>\r\n{inner}{pad}</{name}>\r\n"
    return f"{pad}<{name}>{value}</{name}>\r\n"


def header_file(path, tags, blocks=()):
    """tags: (name, value or list of pairs); blocks: (name, bytes) placed back to back."""
    offset = 0
    tags = list(tags)
    for name, data in blocks:
        tags.append(("DATABLOCK", [("BROKERSTRING", name), ("OFFSET", "%12d" % offset),
                                   ("SIZE", "%12d" % len(data))]))
        offset += len(data)
    text = "<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n"
    text += "".join(element(n, v, 1) for n, v in tags) + "</HEADER>"
    out = b"\xff\xfe" + text.encode("utf-16-le")
    if blocks:
        out += "\r\n<BINARYDATA>".encode("utf-16-le")
        out += b"".join(data for _, data in blocks)
        out += "</BINARYDATA>".encode("utf-16-le")
    out += "\r\n</VQS>".encode("utf-16-le")
    full = os.path.join(HERE, "tree", path)
    os.makedirs(os.path.dirname(full), exist_ok=True)
    with open(full, "wb") as f:
        f.write(out)


header_file("tts/engine.hdr", [
    ("COMPTYPE", "TTSENGINE"), ("BROKERSTRING", "demo/tts"), ("NAME", "Demo synthesiser"),
    ("VERSION", "1.2"),
    ("ADDON", [("COMPTYPE", "LEXICON"), ("BROKERSTRING", "demo/lexicon/builtin"),
               ("NAME", "Built-in lexicon")]),
])
header_file("tts/voices/anna.hdr", [
    ("COMPTYPE", "VOICE"), ("BROKERSTRING", "demo/voice/en/anna"), ("NAME", "Anna"),
    ("VERSION", "2.0"), ("LANGUAGE", "en"), ("PRIORITY", "5"),
    ("DLL", "libdemo_voice.so"), ("GETINTERFACE", "VoiceGetInterface"),
])
header_file("tts/voices/bert.hdr", [
    ("COMPTYPE", "VOICE"), ("BROKERSTRING", "demo/voice/en/bert"), ("NAME", "Bert"),
    ("LANGUAGE", "en"), ("PRIORITY", "2"),
], [("data", b"bert's recorded units")])
header_file("tts/voices/clara.hdr", [
    ("COMPTYPE", "VOICE"), ("BROKERSTRING", "demo/voice/de/clara"), ("NAME", "Clara"),
    ("LANGUAGE", "de"), ("PRIORITY", "9"),
])
header_file("shared/rules/numbers.hdr", [
    ("COMPTYPE", "RULES"), ("BROKERSTRING", "demo/rules/numbers"), ("NAME", "Number rules"),
    ("VERSION", "0.9"),
], [("table", b"0=zero 1=one 2=two 3=three")])
