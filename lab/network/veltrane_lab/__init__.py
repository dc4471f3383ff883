"""The Linux side of the lab: the programs that listen in its places, and the scenarios' tools."""
