"""The routes, by subject. They are plain functions, so each runs on a thread of the pool."""
