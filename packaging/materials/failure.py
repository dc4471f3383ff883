class Failure(Exception):
    """Why the materials cannot be listed, for the person who builds the package."""
