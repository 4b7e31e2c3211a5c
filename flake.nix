# The program kalim for Nix: nix build, nix run . -- INPUT OUTPUT. Not built here.
{
  description = "Removes mains hum from recorded and live audio";

  inputs.nixpkgs.url = "nixpkgs";

  outputs = { self, nixpkgs }:
    let
      systems = [ "x86_64-linux" "aarch64-linux" ];
      forAll = nixpkgs.lib.genAttrs systems;
      project = builtins.readFile ./CMakeLists.txt;
      version = builtins.head (builtins.match ".*project\\(Kalim VERSION ([0-9.]+).*" project);
    in {
      packages = forAll (system:
        let pkgs = nixpkgs.legacyPackages.${system};
        in {
          default = pkgs.stdenv.mkDerivation {
            pname = "kalim";
            inherit version;
            src = self;
            nativeBuildInputs = with pkgs; [ cmake ninja pkg-config ];
            buildInputs = with pkgs; [
              cairo cli11 ffmpeg fftwFloat fmt libhwy libsndfile mpg123 nlohmann_json pugixml taglib
            ];
            cmakeFlags = [ "-DKALIM_BUILD_TESTS=OFF" "-DKALIM_BUILD_PLUGIN=OFF" "-DKALIM_BUILD_PYTHON=OFF" ];
            meta = {
              description = "Removes mains hum from recordings";
              license = nixpkgs.lib.licenses.gpl3Plus;
              mainProgram = "kalim";
            };
          };
        });
    };
}
