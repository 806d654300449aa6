"""Column generation by a primal-dual interior-point method."""

__version__ = "0.2.0"
