// The natives of org.apache.hadoop.hdfs.server.namenode.ZORFNative, as the JVM looks them up. What
// each takes, returns and throws stands in ZORFNative.java.
#pragma once

#include <jni.h>

// Opens the declaration or the definition of a native. With extern "C" on both, a definition with
// another parameter list than the declaration's is an error.
#define ZORF_NATIVE(result, method)   \
  extern "C" JNIEXPORT result JNICALL \
      Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_##method

ZORF_NATIVE(jstring, getUser)(JNIEnv*, jclass, jint);
ZORF_NATIVE(jstring, getGroup)(JNIEnv*, jclass, jint);
ZORF_NATIVE(jint, getUid)(JNIEnv*, jclass, jstring);
ZORF_NATIVE(jint, getGid)(JNIEnv*, jclass, jstring);
ZORF_NATIVE(jlong, setFsUid__Ljava_lang_String_2)(JNIEnv*, jclass, jstring);
ZORF_NATIVE(void, setFsUid__J)(JNIEnv*, jclass, jlong);
ZORF_NATIVE(jint, setUMask)(JNIEnv*, jclass, jshort);

ZORF_NATIVE(jbyteArray, getFileStatusNative)(JNIEnv*, jclass, jstring, jboolean);
ZORF_NATIVE(jintArray, getFileStatusFormatNative)(JNIEnv*, jclass);
ZORF_NATIVE(jlong, getINum)(JNIEnv*, jclass, jstring);
ZORF_NATIVE(jbyteArray, getLinkTargetNative)(JNIEnv*, jclass, jstring, jint);
ZORF_NATIVE(jbyteArray, getFailedPathNative)(JNIEnv*, jclass, jstring, jboolean);
ZORF_NATIVE(jstring, getFsName)(JNIEnv*, jclass, jstring);
ZORF_NATIVE(jboolean, setPermission)(JNIEnv*, jclass, jstring, jshort);

ZORF_NATIVE(jint, getBlkCmd)(JNIEnv*, jclass, jbyteArray, jlong);
ZORF_NATIVE(jbyteArray, getBlockLocationsNative)
(JNIEnv*, jclass, jstring, jlong, jlong, jbyteArray);
ZORF_NATIVE(jlong, getBlockSizeNative)(JNIEnv*, jclass, jstring, jbyteArray);
ZORF_NATIVE(jboolean, setReplication)(JNIEnv*, jclass, jstring, jshort, jboolean);
ZORF_NATIVE(jboolean, setBGF)(JNIEnv*, jclass, jstring, jint);
ZORF_NATIVE(jbyteArray, getLocatedFileStatusNative)
(JNIEnv*, jclass, jstring, jboolean, jboolean, jboolean);

ZORF_NATIVE(jint, setExtendedAttribute)(JNIEnv*, jclass, jstring, jstring, jbyteArray, jshort);
ZORF_NATIVE(jint, removeXAttr)(JNIEnv*, jclass, jstring, jstring);
ZORF_NATIVE(jobjectArray, listXAttrs)(JNIEnv*, jclass, jstring);
ZORF_NATIVE(jobject, getXAttrs)(JNIEnv*, jclass, jstring, jobjectArray);
ZORF_NATIVE(jobject, dumpXAttrs)(JNIEnv*, jclass, jstring);

ZORF_NATIVE(jbyteArray, getAclStatus)(JNIEnv*, jclass, jstring, jbyteArray);
ZORF_NATIVE(void, setAcl)(JNIEnv*, jclass, jstring, jbyteArray);
ZORF_NATIVE(void, modifyAclEntries)(JNIEnv*, jclass, jstring, jbyteArray);
ZORF_NATIVE(void, removeAclEntries)(JNIEnv*, jclass, jstring, jbyteArray);
ZORF_NATIVE(void, removeDefaultAcl)(JNIEnv*, jclass, jstring, jboolean);
ZORF_NATIVE(void, removeAcl)(JNIEnv*, jclass, jstring, jboolean);
