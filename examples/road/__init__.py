"""The road of one recognised image through the store, one stage a module."""
