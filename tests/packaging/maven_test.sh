#!/bin/sh
# maven_test.sh BUILD VERSION: with the pom of the build the jars go into a Maven repository, and a project that
# names them there compiles and runs. Skipped where Maven or its central repository can't be had.
set -eu
. "$(dirname "$0")/../surroundings.sh"
build=$1
version=$2
command -v mvn >/dev/null || skip "there is no Maven"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

# Maven's own plugins are kept from run to run, ours must come from this build.
repository=$build/maven
rm -rf "$repository/zorf"
maven() {
  mvn --batch-mode --quiet "-Dmaven.repo.local=$repository" "$@" >out 2>&1 || {
    # The second is all it says where it has none of its plugins yet.
    ! grep -q 'Could not transfer artifact\|No plugin found for prefix' out ||
      skip "Maven can't reach its repository"
    cat out
    exit 1
  }
}
maven install:install-file "-Dfile=$build/java/zorfhadoop.jar" "-DpomFile=$build/java/pom.xml" \
  "-Djavadoc=$build/java/zorfhadoop-javadoc.jar" "-Dsources=$build/java/zorfhadoop-sources.jar"
(cd "$repository/zorf/zorfhadoop/$version" && ls -- *.jar *.pom) >found
printf 'zorfhadoop-%s\n' "$version-javadoc.jar" "$version-sources.jar" "$version.jar" "$version.pom" |
  diff - found

cat >pom.xml <<POM
<project xmlns="http://maven.apache.org/POM/4.0.0">
  <modelVersion>4.0.0</modelVersion>
  <groupId>example</groupId>
  <artifactId>example</artifactId>
  <version>1</version>
  <properties>
    <maven.compiler.source>8</maven.compiler.source>
    <maven.compiler.target>8</maven.compiler.target>
  </properties>
  <dependencies>
    <dependency>
      <groupId>zorf</groupId>
      <artifactId>zorfhadoop</artifactId>
      <version>$version</version>
    </dependency>
  </dependencies>
</project>
POM
mkdir -p src/main/java
cat >src/main/java/Example.java <<'JAVA'
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import org.apache.hadoop.hdfs.server.namenode.zorf.LibraryVersion;

class Example {
  public static void main(String[] arguments) {
    System.out.println(LibraryVersion.ofJar() + " " + ZORFNative.getUser(0));
  }
}
JAVA
maven compile dependency:build-classpath -Dmdep.outputFile=classpath
"$JAVA_HOME/bin/java" "-Dzorf.library=$build/lib/libzorfhadoop.so" \
  -cp "target/classes:$(cat classpath)" Example >printed
echo "$version root" | diff - printed
