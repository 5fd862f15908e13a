"""Exact 3D Delaunay tetrahedralization with the names of scipy.spatial.Delaunay.

>>> import numpy as np, vesk3d
>>> tri = vesk3d.Delaunay(np.random.default_rng(1).random((1000, 3)))
>>> tri.simplices.shape[1]
4

The library's messages go to the logger "vesk3d", silent until the application configures logging.
"""
import logging

from ._vesk3d import Delaunay, VeskError, __version__

__all__ = ["Delaunay", "VeskError", "__version__"]

logging.getLogger(__name__).addHandler(logging.NullHandler())
