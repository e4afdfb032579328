"""Load over HTTP on the example server."""
