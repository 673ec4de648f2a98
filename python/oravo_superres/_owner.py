"""What objects have in common that hold a handle of the library."""

from types import TracebackType
from typing import NoReturn, Optional, Type, TypeVar

_Self = TypeVar("_Self", bound="Owner")


class Owner:
    """Gives its handle back at the end of a ``with`` block, or with the last reference to it."""

    def close(self) -> None:
        """Gives the handle back; again, and on what was never opened, it does nothing."""
        raise NotImplementedError

    def __enter__(self: _Self) -> _Self:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def __reduce_ex__(self, protocol: object) -> NoReturn:
        raise TypeError(f"a {type(self).__name__} cannot be copied or pickled: "
                        "its frames are the library's, under one handle")
