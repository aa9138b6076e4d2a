"""Objects that own something of the library: closed explicitly, by a with block, or, as a safety
net, by a finaliser when they are collected (or when the interpreter exits) unclosed.

What a wrapper owns lives in a _State that refers to no wrapper, so a finaliser can run without
keeping its wrapper alive. A state closes the states opened through it (an iterator of a
dictionary, a data block of a broker object) before itself, last opened first, because the
library refuses to close an object while such things are held.
"""

from __future__ import annotations

import warnings
import weakref
from typing import Callable, Optional

from .errors import SpeechCommonError, code, failed


class _State:
    __slots__ = ("what", "release", "children", "parent", "closed", "before_final", "handle",
                 "__weakref__")

    def __init__(self, what: str, release: Callable[[], int], parent: Optional["_State"]) -> None:
        self.what = what
        self.release = release
        self.children: list[_State] = []
        self.parent = parent
        self.closed = False
        # Run by the finaliser only, before the release (a dictionary leaves its managers).
        self.before_final: Optional[Callable[[], None]] = None
        self.handle: object = None  # the library's handle, for states that others refer to
        if parent is not None:
            parent.children.append(self)

    def close(self, finalising: bool = False) -> None:
        if self.closed:
            return
        for child in reversed(list(self.children)):
            child.close(finalising)
        if finalising and self.before_final is not None:
            self.before_final()
        result = self.release()
        if failed(result):
            if finalising:
                return  # nothing better to do in a finaliser; the object stays open
            raise SpeechCommonError(result, f"closing {self.what}")
        self._mark_closed()
        if self.parent is not None and self in self.parent.children:
            self.parent.children.remove(self)

    def _mark_closed(self) -> None:
        # What could not be closed before its parent went (a finaliser goes on past refusals)
        # went with it: its handle must never reach the library again.
        self.closed = True
        for child in self.children:
            child._mark_closed()
        self.children.clear()


def _finalise(state: _State) -> None:
    if state.closed:
        return
    try:
        warnings.warn(f"unclosed {state.what}", ResourceWarning, stacklevel=2)
    except Exception:  # the warnings machinery may be gone at interpreter exit
        pass
    state.close(finalising=True)


class Owned:
    """Base of the objects that own library objects: ``close()``, ``with``, a finaliser."""

    # The result code a closed object of this kind answers with, as the library's own refusal
    # of a closed handle of the family would be.
    _closed_code = "SRVSPI_E_SEC_INVALID_HANDLE"
    _state: _State

    def _own(self, what: str, release: Callable[[], int], parent: Optional["Owned"] = None) -> _State:
        self._state = _State(what, release, parent._state if parent is not None else None)
        self._finaliser = weakref.finalize(self, _finalise, self._state)
        return self._state

    def close(self) -> None:
        """Closes the object (and what was opened through it); closing twice does nothing."""
        state = getattr(self, "_state", None)
        if state is None:
            return
        state.close()
        self._finaliser.detach()

    @property
    def closed(self) -> bool:
        state = getattr(self, "_state", None)
        return state is None or state.closed

    def _live(self) -> None:
        """Refuses every use of a closed object, before anything reaches the library."""
        if self.closed:
            what = self._state.what if getattr(self, "_state", None) else type(self).__name__
            raise SpeechCommonError(code(self._closed_code), f"using {what}", "it is closed")

    def __enter__(self):
        self._live()
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()
