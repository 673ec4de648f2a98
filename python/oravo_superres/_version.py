"""The version of the package, and of the library that it needs."""

__version__ = "0.1.0"
