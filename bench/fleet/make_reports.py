#!/usr/bin/env python3
"""Makes reports of realistic machines, about 400 facts each, the same ones for the same seed.

    make_reports.py FOLDER COUNT [--seed N] [--changed SHARE] [--hostile COUNT] [--day DAY]

With --changed, that share of all sections differs from what the same call without it makes. With --day, the
files are of that day. A process for each processor makes some folders of a thousand."""
import argparse
import concurrent.futures
import datetime
import os
import pathlib
import random

MODELS = [("Halvorsen Elektronikk", "Kontor 400 Tower"), ("Solholm", "Reise 14"), ("Bronnvik", "Verksted X2"),
          ("Storhaug", "R-2024"), ("Kestrel Systems", "Perch 7")]
CPUS = [("Korrigan", "Korrigan 9 i5-9400", 6, 12), ("Nordlys", "Nordlys N8 3300 8-Core Processor", 8, 16),
        ("Korrigan", "Korrigan Scale 16", 16, 32)]
SYSTEMS = [("Windows 11 Pro x64", "10.0.22631", "23H2"), ("Windows 11 Pro x64", "10.0.26100", "24H2"),
           ("Windows 10 Pro x64", "10.0.19045", "22H2"), ("Windows 10 Enterprise x64", "10.0.19045", "22H2")]
CATEGORIES = 13
FOLDER = 1000


def key(line):
    """The library's order: each part as text with the mark that ends it."""
    section, index, prop, _ = line
    return (section + "\\", prop + "\\", str(index))


def machine(number, random_):
    facts = []

    def add(section, index, **properties):
        facts.extend((section, index, name, str(value)) for name, value in properties.items())

    maker, model = random_.choice(MODELS)
    cpu = random_.choice(CPUS)
    caption, version, release = random_.choice(SYSTEMS)
    serial = f"{maker[:2].upper()}{number:07d}" if random_.random() > 0.02 else "To be filled by O.E.M."
    memory = random_.choice([1, 2, 4, 8]) * 8192
    add("BIOS", 0, AssetTag=f"A-{number:06d}", InstallDate="09/14/23", Manufacturer=maker, Mode="UEFI",
        SerialNumber=serial, SystemMan=maker, SystemMod=model, Version=f"2.{random_.randrange(30)}")
    add("BaseBoard", 0, Manufacturer=maker, Product=f"HX{random_.randrange(900)}", Version="v1.02")
    add("ComputerSystem", 0, Name=f"PC-{number:06d}")
    drives = random_.choice([1, 1, 2, 3])
    for i in range(drives):
        letters = "C:|D:|" if i == 0 else f"{'EFG'[i - 1]}:|"
        add("DiskDrive", i, Caption=f"Bandvik S{random_.randrange(100, 999)}", DiskType="SSD", LogicalDisks=letters,
            MediaType="Fixed hard disk media", Size=random_.choice([244198, 488386, 953869]))
    for i, letter in enumerate("CD" + "EFG"[:drives - 1]):
        size = random_.choice([122000, 244000, 480000])
        add("LogicalDisk", i, BitLockerStatus=random_.choice([7, 7, 7, 1, 0]), Description="", DeviceID=letter + ":",
            FileSystem="NTFS", FreeSpace=random_.randrange(size), Size=size,
            VolumeSerialNumber=f"{random_.getrandbits(32):X}")
    for i in range(random_.choice([2, 3, 4])):
        connected = i == 0
        add("NetworkAdapter", i, AdapterType="Ethernet", DHCPEnabled="true" if connected else "false",
            DHCPLeaseExpires="2026-11-24T07:00:00Z" if connected else "",
            DHCPLeaseObtained="2026-11-23T07:00:00Z" if connected else "",
            DHCPServer="10.1.0.1" if connected else "", DNSServer="10.1.0.2" if connected else "",
            DefaultIPGateway="10.1.0.1" if connected else "",
            IPAddress=f"10.{number >> 16 & 255}.{number >> 8 & 255}.{number & 255}" if connected else "",
            IPSubnet="255.0.0.0" if connected else "", IPV6Address="",
            MACAddress=f"00-1B-{i:02X}-{number >> 16 & 255:02X}-{number >> 8 & 255:02X}-{number & 255:02X}",
            Manufacturer=maker, Name=f"Halvorsen GX-{i} Gigabit", NetConnectionStatus="Connected" if connected else "",
            NetworkBand="", NetworkChannel="", PhysicalAdapter="Physical" if i < 2 else "Logical", Protocol="",
            SSID="", SecurityType="", Speed=1000000000 if connected else "", WINSPrimaryServer="0.0.0.0")
    add("OperatingSystem", 0, Caption=caption, Is64x=1, LoggedOnUser=f"user{number}",
        TimeZone="(GMT +01:00) W. Europe Standard Time", Version=version, Windows10Version=release)
    add("PhysicalMemory", 0, Capacity=memory)
    for i in range(2):
        add("PhysicalMemoryLocation", i, Capacity=memory // 2, DeviceLocator=f"DIMM_A{i + 1}", MemoryType="DDR4",
            Speed=3200)
    add("PhysicalMemoryLocation", 0, MemorySlots=random_.choice([2, 4]))
    add("Processor", 0, CurrentClockSpeed=3600, Manufacturer=cpu[0], Name=cpu[1], NumberOfCores=cpu[2],
        NumberOfLogicalProcessors=cpu[3])
    add("SystemEnclosure", 0, ChassisTypes="Desktop")
    add("SystemOverview", 0, AverageBootTime=random_.randrange(9000, 60000),
        SecureBoot=random_.choice([1, 1, 1, 0, 2]), TpmActivated=1, TpmChip=random_.choice(["2.0", "2.0", "1.2", ""]),
        TpmEnabled=random_.choice([1, 1, 1, 0]))
    for i in range(12):
        add("SystemSlot", i, CurrentUsage="Available", SlotDesignation=f"PCIEX16_{i}")
    for i in range(random_.randrange(150, 210)):
        add("USBDevice", i, Name=f"Bandvik USB device {random_.randrange(40)}")
    add("VideoController", 0, AdapterRAM=8192, DACType="Internal DAC(400MHz)", Name="Aurora RX7")
    facts.extend(("ET", 0, "", str(random_.randrange(2000))) for _ in range(CATEGORIES))
    return facts


def hostile(facts, random_):
    """What no library writes, and a reader has to keep all the same."""
    facts.append(("USBDevice", 999, "Name", "\U0001F680 \u202e tab\tquote\" back\\slash \u0001 \0 end"))
    facts.append(("BIOS", 0, "Invented", "line\nfeed"))
    facts.append(("Invented", 7, "Property", "value;'\"--"))
    facts.append(("DiskDrive", 0, "Size", random_.choice(["007", "-1", "99999999999999999999", "1.5"])))
    return [fact for i, fact in enumerate(facts) if (fact[:3]) not in {f[:3] for f in facts[i + 1:]} or fact[0] == "ET"]


def make(options, first):
    folder = options.folder / f"{first // FOLDER:04d}"
    folder.mkdir(parents=True, exist_ok=True)
    for number in range(first, min(first + FOLDER, options.count)):
        facts = machine(number, random.Random(options.seed * 1_000_003 + number))
        changes = random.Random(number)
        if options.changed:
            sections = {fact[0] for fact in facts} - {"ET", "ComputerSystem", "NetworkAdapter", "BIOS"}
            changed = {section for section in sorted(sections) if changes.random() < options.changed * 20 / 16}
            facts = [(section, index, name, value + "9" if section in changed and index == 0 and name in (
                "Name", "Version", "Capacity", "Size", "SlotDesignation", "ChassisTypes", "TpmChip") else value)
                for section, index, name, value in facts]
        if number < options.hostile:
            facts = hostile(facts, changes)
        facts.sort(key=key)
        text = "".join(f"{section}\t{index}\t{name}\t{value}\n" for section, index, name, value in facts)
        path = folder / f"PC-{number:06d}.tsv"
        path.write_bytes(text.encode("utf-16-le", "surrogatepass"))
        if options.day:
            time = options.day.timestamp()
            os.utime(path, (time, time))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("count", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--changed", type=float, default=0)
    parser.add_argument("--hostile", type=int, default=0)
    parser.add_argument("--day", type=datetime.datetime.fromisoformat)
    options = parser.parse_args()
    with concurrent.futures.ProcessPoolExecutor() as pool:
        for _ in pool.map(make, *zip(*((options, first) for first in range(0, options.count, FOLDER)))):
            pass


if __name__ == "__main__":
    main()
