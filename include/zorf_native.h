// The natives of org.apache.hadoop.hdfs.server.namenode.ZORFNative, as the JVM looks them up. What
// each takes, returns and throws stands in ZORFNative.java.
#pragma once

#include <jni.h>

extern "C" {
JNIEXPORT jstring JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getUser(JNIEnv*,
                                                                                         jclass,
                                                                                         jint);

JNIEXPORT jstring JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getGroup(JNIEnv*,
                                                                                          jclass,
                                                                                          jint);

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getUid(JNIEnv*,
                                                                                     jclass,
                                                                                     jstring);

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getGid(JNIEnv*,
                                                                                     jclass,
                                                                                     jstring);

JNIEXPORT jlong JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setFsUid__Ljava_lang_String_2(JNIEnv*,
                                                                                     jclass,
                                                                                     jstring);

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setFsUid__J(JNIEnv*,
                                                                                          jclass,
                                                                                          jlong);

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setUMask(JNIEnv*,
                                                                                       jclass,
                                                                                       jshort);

JNIEXPORT jbyteArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getFileStatusNative(JNIEnv*, jclass, jstring,
                                                                           jboolean);

JNIEXPORT jintArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getFileStatusFormatNative(JNIEnv*, jclass);

JNIEXPORT jlong JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getINum(JNIEnv*,
                                                                                       jclass,
                                                                                       jstring);

JNIEXPORT jbyteArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getLinkTargetNative(JNIEnv*, jclass, jstring,
                                                                           jint);

JNIEXPORT jbyteArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getFailedPathNative(JNIEnv*, jclass, jstring,
                                                                           jboolean);

JNIEXPORT jstring JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getFsName(JNIEnv*,
                                                                                           jclass,
                                                                                           jstring);

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setPermission(
    JNIEnv*, jclass, jstring, jshort);

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getBlkCmd(JNIEnv*,
                                                                                        jclass,
                                                                                        jbyteArray,
                                                                                        jlong);

JNIEXPORT jbyteArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getBlockLocationsNative(JNIEnv*, jclass,
                                                                               jstring, jlong,
                                                                               jlong, jbyteArray);

JNIEXPORT jlong JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getBlockSizeNative(
    JNIEnv*, jclass, jstring, jbyteArray);

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setReplication(
    JNIEnv*, jclass, jstring, jshort, jboolean);

JNIEXPORT jboolean JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setBGF(JNIEnv*,
                                                                                         jclass,
                                                                                         jstring,
                                                                                         jint);

JNIEXPORT jbyteArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getLocatedFileStatusNative(JNIEnv*, jclass,
                                                                                  jstring, jboolean,
                                                                                  jboolean,
                                                                                  jboolean);

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setExtendedAttribute(
    JNIEnv*, jclass, jstring, jstring, jbyteArray, jshort);

JNIEXPORT jint JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_removeXAttr(JNIEnv*,
                                                                                          jclass,
                                                                                          jstring,
                                                                                          jstring);

JNIEXPORT jobjectArray JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_listXAttrs(JNIEnv*, jclass, jstring);

JNIEXPORT jobject JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getXAttrs(
    JNIEnv*, jclass, jstring, jobjectArray);

JNIEXPORT jobject JNICALL
Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_dumpXAttrs(JNIEnv*, jclass, jstring);

JNIEXPORT jbyteArray JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_getAclStatus(
    JNIEnv*, jclass, jstring, jbyteArray);

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_setAcl(JNIEnv*,
                                                                                     jclass,
                                                                                     jstring,
                                                                                     jbyteArray);

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_modifyAclEntries(
    JNIEnv*, jclass, jstring, jbyteArray);

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_removeAclEntries(
    JNIEnv*, jclass, jstring, jbyteArray);

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_removeDefaultAcl(
    JNIEnv*, jclass, jstring, jboolean);

JNIEXPORT void JNICALL Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_removeAcl(JNIEnv*,
                                                                                        jclass,
                                                                                        jstring,
                                                                                        jboolean);

}  // extern "C"
