"""What other programs see of an enlarged image's metadata: ExifTool and GDAL compare it with its reference frame's.

    metadata.py PROGRAM

Ends with 77 where one of them is missing.
"""

import hashlib
import json
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

try:
    from osgeo import gdal, osr
except ImportError:
    sys.exit(77)
if not shutil.which("exiftool"):
    sys.exit(77)

program = Path(sys.argv[1]).resolve()
gdal.UseExceptions()
WIDTH, HEIGHT = 32, 24

# How a file stores its pixels, where it lies, what ExifTool computes of other tags, and the note.
OF_THE_FILE = """SourceFile ExifTool:* File:* System:* Composite:* IFD0:SubfileType IFD0:ImageWidth IFD0:ImageHeight IFD0:BitsPerSample
    IFD0:Compression IFD0:PhotometricInterpretation IFD0:StripOffsets IFD0:SamplesPerPixel IFD0:RowsPerStrip
    IFD0:StripByteCounts IFD0:PlanarConfiguration IFD0:SampleFormat ExifIFD:ExifImageWidth ExifIFD:ExifImageHeight ExifIFD:ComponentsConfiguration
    IFD0:Predictor IFD0:ProcessingSoftware IFD0:ImageHistory PNG:* PNG-pHYs:*""".split()
# Those of the grid, checked by themselves.
OF_THE_GRID = "IFD0:PixelScale IFD0:ModelTiePoint IFD0:ModelTransform IFD0:XResolution IFD0:YResolution ExifIFD:FocalPlaneXResolution".split()


def run(*command):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, text=True).stdout


def listing(file):
    tags = json.loads(run("exiftool", "-j", "-G1", "-a", "-u", "-n", file))[0]
    of_file = {name for name in OF_THE_FILE if not name.endswith("*")}
    groups = tuple(name[:-1] for name in OF_THE_FILE if name.endswith("*"))
    return {name: value for name, value in tags.items() if name not in of_file and not name.startswith(groups)}


def burst(folder):
    run(program, "simulate", "-o", folder, "--width", WIDTH, "--height", HEIGHT)
    return folder / "frame_001.tif"  # the reference, on whose grid the image lies


def tag_by_camera(frame):
    run("exiftool", "-q", "-overwrite_original", "-Make=Maker", "-Model=Thermal 7", "-Software=firmware 1.2",
        "-ImageDescription=roof, north", "-DateTimeOriginal=2026:05:04 03:02:01", "-SubSecTimeOriginal=123",
        "-ExposureTime=1/60", "-FNumber=1.0", "-LensInfo=13 13 undef undef", "-FocalPlaneXResolution=1234.5",
        "-ExifIFD:UserComment=\u00fc", "-GPSLatitude=48.123456789", "-GPSLatitudeRef=N", "-GPSLongitude=11.5",
        "-GPSLongitudeRef=E", "-GPSAltitude=530.25", "-GPSImgDirection=271.5", "-XMP-dc:Subject=roof",
        "-XMP-dc:Creator=J. D\u00f6", "-IPTC:Keywords=thermal", "-Orientation#=6", "-InteropIndex=R98",
        "-XResolution=72", "-YResolution=72", "-Artist=J. D.", "-ImageUniqueID=00112233", frame)


def check_listing(folder):
    """Both containers show all that the frame shows; the grid's own numbers are twice as large."""
    frame = burst(folder / "b")
    tag_by_camera(frame)
    before = listing(frame)
    assert len(before) > 25, before
    for name in ("a.tif", "a.png"):
        run(program, "enhance", folder / "b", "-o", folder / name, "--pipeline", "float", "--encoding", "celsius")
        after = listing(folder / name)
        for tag, value in before.items():
            if tag in OF_THE_GRID:
                assert after[tag] == 2 * value, (name, tag, value, after.get(tag))
            else:
                assert after.get(tag) == value, (name, tag, value, after.get(tag))
        assert not {tag for tag in after if tag.endswith(":Warning")} - set(before), after
    bare = folder / "bare.tif"
    run(program, "enhance", folder / "b", "-o", bare, "--pipeline", "float", "--no-metadata")
    assert not listing(bare), listing(bare)


def check_note(folder):
    """Who looks finds program, parameters and the hashes of what was read, after what stood there before."""
    run("exiftool", "-q", "-overwrite_original", "-ImageHistory=made by hand", folder / "b" / "frame_001.tif")
    run(program, "enhance", folder / "b", "-o", folder / "n.tif", "--pipeline", "float", "--tv-weight", 77)
    first, note = run("exiftool", "-b", "-ImageHistory", folder / "n.tif").split("\n")
    assert first == "made by hand", first
    note = json.loads(note)
    assert note["program"].startswith("oravo-superres ") and note["parameters"]["tv-weight"] == 77, note
    hashes = {each["file"]: each["sha256"] for each in note["files"]}
    for i in range(5):
        name = f"frame_{i:03}.tif"
        assert hashes[name] == hashlib.sha256((folder / "b" / name).read_bytes()).hexdigest(), name
    assert run("exiftool", "-b", "-Software", folder / "n.tif") == "firmware 1.2"
    assert run("exiftool", "-b", "-ProcessingSoftware", folder / "n.tif") == note["program"]


def ground(file, column, row):
    """The position of a place of the raster, counted from its upper left corner."""
    data = gdal.Open(str(file))
    return gdal.ApplyGeoTransform(data.GetGeoTransform(), column, row), data.GetProjection()


def georeferenced(frame, transform, point):
    """The frame anew as a GeoTIFF."""
    values = gdal.Open(str(frame)).ReadAsArray()
    options = ["PROFILE=GeoTIFF"]
    data = gdal.GetDriverByName("GTiff").Create(str(frame), WIDTH, HEIGHT, 1, gdal.GDT_Float32, options)
    reference = osr.SpatialReference()
    reference.ImportFromEPSG(32632)
    data.SetProjection(reference.ExportToWkt())
    data.SetGeoTransform(transform)
    if point:
        data.SetMetadataItem("AREA_OR_POINT", "Point")
    data.GetRasterBand(1).WriteArray(values)
    data.GetRasterBand(1).SetNoDataValue(-9999)


def check_ground(folder):
    """Corners lie where those of the frame lie, to a hundredth of its pixels."""
    frame = burst(folder / "g")
    turned = (691000.0, 0.4, 0.1, 5334000.0, 0.1, -0.5)
    upright = (691000.0, 0.4, 0.0, 5334000.0, 0.0, -0.5)
    for transform in (upright, turned):
        for point in (False, True):
            for crop in ((), ("--crop", "24x16+5+3")):
                georeferenced(frame, transform, point)
                image = folder / "g.tif"
                run(program, "enhance", folder / "g", "-o", image, "--pipeline", "float", *crop)
                left, top, width, height = (5, 3, 24, 16) if crop else (0, 0, WIDTH, HEIGHT)
                for x, y in ((0, 0), (width, 0), (0, height), (width, height), (7, 9)):
                    wanted, projection = ground(frame, left + x, top + y)
                    found, same = ground(image, 2 * x, 2 * y)
                    assert max(abs(a - b) for a, b in zip(wanted, found)) < 0.01 * 0.4, (transform, point, crop, x, y)
                    assert projection == same
                data = gdal.Open(str(image))  # a band does not keep its file
                assert str(data.GetRasterBand(1).GetNoDataValue()) == "nan"


with tempfile.TemporaryDirectory() as name:
    check_listing(Path(name))
    check_note(Path(name))
    check_ground(Path(name))
