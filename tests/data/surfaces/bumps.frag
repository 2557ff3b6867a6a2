#version 450
layout(location = 0) in vec3 vNormal;
layout(location = 1) in vec3 vTangent;
layout(location = 2) in vec2 vUv;
layout(location = 3) in vec3 vToLight;
layout(location = 4) in vec3 vToEye;
layout(set = 0, binding = 1) uniform Material {
    vec3 light;
    float exponent;
};
layout(set = 0, binding = 2) uniform sampler2D normals;
layout(set = 0, binding = 3) uniform sampler2D map;
layout(location = 0) out vec4 colour;

void main() {
    vec3 n = normalize(vNormal);
    vec3 t = normalize(vTangent);
    vec3 bump = texture(normals, vUv).xyz * 2.0 - 1.0;
    vec3 bumped = normalize(mat3(t, cross(n, t), n) * bump);
    vec3 l = normalize(vToLight);
    vec3 h = normalize(l + normalize(vToEye));
    float cosine = dot(bumped, l);
    float highlight = pow(max(dot(bumped, h), 0.0), exponent) * step(0.0, cosine);
    colour = vec4(light * (texture(map, vUv).rgb * max(cosine, 0.0) + 0.3 * highlight), 1.0);
}
