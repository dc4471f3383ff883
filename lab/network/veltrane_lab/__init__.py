"""The Linux side of the lab: what listens in its places, and what scenarios are told with."""
