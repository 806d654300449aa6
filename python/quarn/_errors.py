"""The errors that the package raises."""


class Error(Exception):
    """Base of the package's own errors."""


class Mistake(Error, ValueError):
    """A call that cannot be meant; its text says in a sentence which row or column, and what is
    wrong. Nothing was changed."""


class FileError(Error, OSError):
    """A file that cannot be read or written, or is not what it should be; its text names it."""
