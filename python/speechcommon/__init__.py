"""speechcommon from Python: exception dictionaries, data header files and the component broker
of libspeechcommon, through ctypes."""

from __future__ import annotations

from . import _codetable
from ._library import LibraryNotFoundError
from ._library import path as library_path
from .broker import Broker, BrokerData, BrokerObject, Component, Interface
from .dataheader import DataHeaderFile, Element, HeaderBlock, write_data_header
from .dictionary import (
    Answer,
    Content,
    Dictionary,
    DictionaryInfo,
    DictionaryManager,
    Entry,
    Representation,
    StreamProblem,
    WalkItem,
    check_image,
)
from .errors import SpeechCommonError, code, code_name, codes

__version__ = _codetable.VERSION

__all__ = [
    "Answer",
    "Broker",
    "BrokerData",
    "BrokerObject",
    "Component",
    "Content",
    "DataHeaderFile",
    "Dictionary",
    "DictionaryInfo",
    "DictionaryManager",
    "Element",
    "Entry",
    "HeaderBlock",
    "Interface",
    "LibraryNotFoundError",
    "Representation",
    "SpeechCommonError",
    "StreamProblem",
    "WalkItem",
    "check_image",
    "code",
    "code_name",
    "codes",
    "library_path",
    "write_data_header",
]
