#pragma once

#include <string>

/// Real public keys, one of each accepted type, made with ssh-keygen (the security-key types are
/// built from the same points with the application "ssh:", as a security key would report them).
/// Their SHA-256 fingerprints are what `ssh-keygen -l` prints for them.
namespace TestSupport::SampleKeys {

inline const std::string ed25519 = "AAAAC3NzaC1lZDI1NTE5AAAAIAR1UTTRYI+sWCvRZPt8cTd9Nyntus30fuAWR/HlM5WG";
inline const std::string ed25519Fingerprint = "SHA256:4+rASyEQiRLXA79jMalYxgORnMBJ5Q2ST6DSC0dl0ic";
inline const std::string rsa = "AAAAB3NzaC1yc2EAAAADAQABAAABAQC0+gB3t+c/NUtWOAby5Ic6RAAJjs9UfVqAo0/"
                               "FsendUcEkq8ulDXn+mwCdqpmOXY9GwklNu7XWcF4CuOH"
                               "AaV3ZwOwnwRHi8Sb6d5Z5l6qTmpukCQQAA1OezonmeOr/"
                               "A8xQWqxhAYnbFgdDa7VJls+Hqf9qbDWOEMHLaLMbbIi/QY6KtfYY7NYQX0zco8Q1r"
                               "u9Aq/LRC6meDEo5sGXPWs0AqB42IGpyC+W/"
                               "N9Jh0vDNC0VItlSqz1cn5vUpQWXFCSHPsetATaruLtY2kYAQeAXcicI4e5etG1s5GdF/mk1/2TR/"
                               "vPQx1dLR4iDIMmsRCVGQXdYNjdgfU86ljXbis6V1";
inline const std::string rsaFingerprint = "SHA256:o3Dh3qxakoiO8QvCQ2MaqhE+qYwiwEgrgRRedZdC6AI";
inline const std::string ecdsa256 = "AAAAE2VjZHNhLXNoYTItbmlzdHAyNTYAAAAIbmlzdHAyNTYAAABBBJHGo96yZZf0uNzn0N4B"
                                    "BQzWt1visBF/+ccdT9SEdqSq/Q9CL0CcrzxA6QQu"
                                    "TrGAzYy3pNSdmdZii8mMab+hN1E=";
inline const std::string ecdsa256Fingerprint = "SHA256:FPe+fvggmt0Ti5W8UuMvL7/KTARXhWOZv348YV2Bff4";
inline const std::string ecdsa384 =
    "AAAAE2VjZHNhLXNoYTItbmlzdHAzODQAAAAIbmlzdHAzODQAAABhBAtaoFYIvvETSvN0pxJnelhnxdHVRtZxfbxHUvBfQh0kgK69sXBw"
    "qHTZM9l"
    "PHYIbncqTbqpDWY1zj55mDulNio62zihmmLMV40/20V2pkoKPXJUwA/9BqkXP7ya5tz5dIA==";
inline const std::string ecdsa384Fingerprint = "SHA256:VSXP9U+sLdkMyn0Uqf6ShSXt04W3JlvG4eqEC1kmK/Y";
inline const std::string ecdsa521 = "AAAAE2VjZHNhLXNoYTItbmlzdHA1MjEAAAAIbmlzdHA1MjEAAACFBAG6tcbnSapkrKLEmiEG"
                                    "MrnxolxQmqcLjLfkTRBPdhb0oTBkbhdBjuHN/8q"
                                    "r0ay8iBHpKyTNMEtRnOIzkVOL7aGmvgEGli1QnwHzN6q1pFbRhkG9c+b5tlt/"
                                    "sqPo1xcJi5b4U6pm02lw6grLhL4Q0vtg4KSun5hmCHTTnEhADra"
                                    "o/Lj1qw==";
inline const std::string ecdsa521Fingerprint = "SHA256:mPIFZKqVGUVuIdDfOzWM1xI3eq1/oYcgshVD6wP/+SE";
inline const std::string skEd25519 =
    "AAAAGnNrLXNzaC1lZDI1NTE5QG9wZW5zc2guY29tAAAAIAR1UTTRYI+sWCvRZPt8cTd9Nyntus30fuAWR/HlM5WGAAAABHNzaDo=";
inline const std::string skEd25519Fingerprint = "SHA256:yXvSZzAyLPYp8hAUBysBb7nxP9xGrk7fgk4zzBunvcE";
inline const std::string skEcdsa256 = "AAAAInNrLWVjZHNhLXNoYTItbmlzdHAyNTZAb3BlbnNzaC5jb20AAAAIbmlzdHAyNTYAAA"
                                      "BBBJHGo96yZZf0uNzn0N4BBQzWt1visBF/+ccdT9SE"
                                      "dqSq/Q9CL0CcrzxA6QQuTrGAzYy3pNSdmdZii8mMab+hN1EAAAAEc3NoOg==";
inline const std::string skEcdsa256Fingerprint = "SHA256:TPhuuVXRrHcn4wHABs5XHakhIvZrqW2sMbP+yqEgE78";

/// An RSA key whose modulus has only 512 bits: well formed, refused by the SSH server.
inline const std::string rsa512 =
    "AAAAB3NzaC1yc2EAAAADAQABAAAAQQCAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA"
    "AAAAAAAAAAAAAAAAAAAAAAAAAAAAADA5";
/// The ed25519 key with four bytes of nothing after it.
inline const std::string ed25519WithTrailingBytes =
    "AAAAC3NzaC1lZDI1NTE5AAAAIAR1UTTRYI+sWCvRZPt8cTd9Nyntus30fuAWR/HlM5WGAAAAAA==";

} // namespace TestSupport::SampleKeys
