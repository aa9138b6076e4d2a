#!/usr/bin/env python3
"""Makes the hostile broker trees of the corpus below OUT_DIR, one directory per tree (named as
in broker/MANIFEST): links back up the tree, FIFOs and devices where headers are expected,
module paths that leave the root, duplicates, directories nested past the scan's depth.

    make_trees.py OUT_DIR
"""
import os
import shutil
import sys

OUT = sys.argv[1]


def header(path, body):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    text = '<VQS>\r\n<VERSION>VQ_1.0</VERSION>\r\n<HEADER>\r\n' + body + '</HEADER>\r\n</VQS>'
    with open(path, 'wb') as out:
        out.write(b'\xff\xfe' + text.encode('utf-16-le'))


def tags(**values):
    return ''.join('<%s>%s</%s>' % (name, value, name) for name, value in values.items())


def engine(root, directory='eng', name='eng', dll=None):
    extra = {'DLL': dll, 'GETINTERFACE': 'entry'} if dll else {}
    header(os.path.join(root, directory, 'engine.hdr'),
           tags(COMPTYPE='TTSENGINE', BROKERSTRING=name, NAME=name.upper(), **extra))


def voice(path, brokerstring, name=None, dll=None):
    extra = {'DLL': dll, 'GETINTERFACE': 'entry'} if dll else {}
    header(path, tags(COMPTYPE='VOICE', BROKERSTRING=brokerstring, NAME=name or brokerstring,
                      **extra))


def tree(name):
    root = os.path.join(OUT, name)
    shutil.rmtree(root, ignore_errors=True)
    os.makedirs(root)
    return root


# Two links to "." in a voices directory: without telling directories apart, the walk
# doubles at every level.
root = tree('links-to-dot')
engine(root)
voice(os.path.join(root, 'eng/voices/v.hdr'), 'v')
os.symlink('.', os.path.join(root, 'eng/voices/a'))
os.symlink('.', os.path.join(root, 'eng/voices/b'))
os.makedirs(os.path.join(root, 'shared/s'))
voice(os.path.join(root, 'shared/s/s.hdr'), 's')
os.symlink('.', os.path.join(root, 'shared/s/x'))
os.symlink('..', os.path.join(root, 'shared/s/y'))

# Links up to the engine directory and to the root: the engine header is no add-on, and the
# root's engines are not read again below it.
root = tree('links-up')
engine(root)
voice(os.path.join(root, 'eng/voices/v.hdr'), 'v')
os.symlink('..', os.path.join(root, 'eng/voices/up'))
os.symlink('../..', os.path.join(root, 'eng/voices/root'))
os.symlink('.', os.path.join(root, 'self'))

# A FIFO named like a header, as an add-on and as an engine header: skipped, nothing waits.
root = tree('fifos')
engine(root)
voice(os.path.join(root, 'eng/voices/v.hdr'), 'v')
os.mkfifo(os.path.join(root, 'eng/voices/evil.hdr'))
os.mkfifo(os.path.join(root, 'eng/evil.hdr'))
os.makedirs(os.path.join(root, 'shared/s'))
os.mkfifo(os.path.join(root, 'shared/s/evil.dat'))

# Devices and dangling links in place of headers.
root = tree('devices-and-dangling')
engine(root)
voice(os.path.join(root, 'eng/voices/v.hdr'), 'v')
os.symlink('/dev/null', os.path.join(root, 'eng/voices/null.hdr'))
os.symlink('/dev/zero', os.path.join(root, 'eng/voices/zero.dat'))
os.symlink('/nonexistent/file.hdr', os.path.join(root, 'eng/voices/gone.hdr'))
os.symlink('/nonexistent/dir', os.path.join(root, 'eng/voices/gonedir'))

# A directory named like a header: not a file, but still a directory to scan.
root = tree('directory-named-hdr')
engine(root)
voice(os.path.join(root, 'eng/voices/inner.hdr/v.hdr'), 'v')

# Module paths: inside the root (also through ".." that stays inside), and out of it.
root = tree('module-paths')
engine(root, dll='../../../../lib/x86_64-linux-gnu/libm.so.6')
voice(os.path.join(root, 'eng/voices/in.hdr'), 'in', dll='libvoice.so')
voice(os.path.join(root, 'eng/voices/back-in.hdr'), 'back-in', dll='../voices/./libvoice.so')
voice(os.path.join(root, 'eng/voices/absolute.hdr'), 'absolute', dll='/usr/lib/libvoice.so')
voice(os.path.join(root, 'eng/voices/out.hdr'), 'out', dll='../../../lib/libm.so.6')
voice(os.path.join(root, 'eng/voices/far-out.hdr'), 'far-out', dll='a/../../../../../../etc/x.so')
voice(os.path.join(root, 'eng/voices/data.hdr'), 'data')
engine(root, directory='eng2', name='eng2', dll='libengine.so')

# Duplicates: in one directory ".hdr" before ".dat"; files before subdirectories; case counts.
root = tree('duplicates')
engine(root)
voice(os.path.join(root, 'eng/voices/a.hdr'), 'dup', name='first')
voice(os.path.join(root, 'eng/voices/a.dat'), 'dup', name='second')
voice(os.path.join(root, 'eng/voices/sub/b.hdr'), 'dup', name='third')
voice(os.path.join(root, 'eng/voices/sub/c.hdr'), 'DUP', name='upper')
for n in range(200):
    voice(os.path.join(root, 'eng/voices/many/%d.hdr' % n), 'same', name='one-of-many')

# Directories nested past the scan's 64 levels.
root = tree('deep-directories')
engine(root)
path = os.path.join(root, 'eng')
for level in range(1, 71):
    path = os.path.join(path, 'd')
    if level in (10, 64, 65, 70):
        voice(os.path.join(path, 'v%d.hdr' % level), 'v%d' % level)

# Headers that are not headers.
root = tree('garbage-headers')
engine(root)
os.makedirs(os.path.join(root, 'eng/voices'))
with open(os.path.join(root, 'eng/voices/empty.hdr'), 'wb'):
    pass
with open(os.path.join(root, 'eng/voices/utf8.hdr'), 'wb') as out:
    out.write(b'<VQS>\r\n<VERSION>VQ_1.0</VERSION><HEADER><COMPTYPE>VOICE</COMPTYPE></HEADER>')
header(os.path.join(root, 'eng/voices/no-name.hdr'), tags(COMPTYPE='VOICE', BROKERSTRING='x'))
voice(os.path.join(root, 'eng/voices/ok.hdr'), 'ok')

# The root itself is a FIFO, or a file.
root = os.path.join(OUT, 'root-is-fifo')
if os.path.lexists(root):
    os.remove(root)
os.mkfifo(root)
root = os.path.join(OUT, 'root-is-file')
with open(root, 'wb') as out:
    out.write(b'not a directory')
