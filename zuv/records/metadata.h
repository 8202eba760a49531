// The records in which the application's modules pass image metadata through the library: a focus
// area, a GPS position (latitude, longitude and altitude as EXIF records them), a set of IPTC text
// fields keyed by number, and a histogram. Plain values: default construction gives zeros or
// nothing, copies are deep, and floating-point fields compare as numbers (a NaN equals nothing).
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "zuv/export.h"
#include "zuv/strings/string_data.h"

/// One focus area of an image. The application defines what the five fields mean; the library
/// stores and compares them.
class ZUV_EXPORT CZuvFocusArea {
 public:
  /// Equal when all five fields are.
  bool operator==(const CZuvFocusArea& other) const = default;

  /// Stored and compared as given; 0 by default.
  /// @{
  float x = 0;
  float y = 0;
  float width = 0;
  float height = 0;
  int32_t kind = 0;
  /// @}
};

/// Where an image was taken, as its EXIF GPS fields record it. A record whose latitude and
/// longitude references are both unset holds no position.
class ZUV_EXPORT CZuvGeotagData {
 public:
  /// An angle in degrees, minutes and seconds.
  class ZUV_EXPORT CZuvGeotagDMS {
   public:
    CZuvGeotagDMS() = default;
    /// The given angle.
    CZuvGeotagDMS(double degrees_, double minutes_, double seconds_)
        : degrees(degrees_), minutes(minutes_), seconds(seconds_) {}

    /// Equal when all three numbers are; != is its negation, so with a NaN == is false and != true.
    bool operator==(const CZuvGeotagDMS& other) const = default;

    /// The three parts of the angle, 0 by default.
    /// @{
    double degrees = 0;
    double minutes = 0;
    double seconds = 0;
    /// @}
  };

  /// Whether the altitude lies above or below sea level (EXIF GPSAltitudeRef).
  enum : uint8_t { kAboveSeaLevel = 0, kBelowSeaLevel = 1 };

  /// True when latitudeRef and longitudeRef are both 0; the other fields are not looked at.
  bool IsEmpty() const;

  /// Equal when all fields are, each angle compared as CZuvGeotagDMS.
  bool operator==(const CZuvGeotagData& other) const = default;

  char latitudeRef = 0;                  ///< 'N' or 'S'; 0 when unset.
  char longitudeRef = 0;                 ///< 'E' or 'W'; 0 when unset.
  CZuvGeotagDMS latitude;                ///< Angle from the equator, towards latitudeRef.
  CZuvGeotagDMS longitude;               ///< Angle from the prime meridian, towards longitudeRef.
  uint8_t altitudeRef = kAboveSeaLevel;  ///< kAboveSeaLevel or kBelowSeaLevel.
  double altitude = 0;  ///< Meters from sea level, in the direction altitudeRef gives.
};

/// IPTC text fields, one text per field number, in ascending order of number. The application
/// numbers the fields.
class ZUV_EXPORT CZuvIPTCData {
 public:
  std::map<uint32_t, CZuvStringData> fields;  ///< The text of each field, by number.
};

/// Counts per bin: one inner vector per channel, one count per bin.
class ZUV_EXPORT CZuvHistogramData {
 public:
  std::vector<std::vector<uint32_t>> channels;  ///< The counts, by channel and then by bin.
};
